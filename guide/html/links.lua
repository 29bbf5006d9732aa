-- Links and pictures of the Markdown sources become those of the pages: page.md is page.html, and what lies
-- above docs/guide lies beside the pages.

local root = os.getenv("GUIDE_ROOT") or ""

local function Placed(target)
  if target:match("^%a+:") then return target end
  local path, anchor = target:match("^([^#]*)(.*)$")
  if root ~= "" then
    path = path:gsub("^%.%./%.%./", "../")
  else
    path = path:gsub("^%.%./", "")
  end
  return path:gsub("%.md$", ".html") .. anchor
end

function Link(link)
  link.target = Placed(link.target)
  return link
end

function Image(image)
  image.src = Placed(image.src)
  return image
end
