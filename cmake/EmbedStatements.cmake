# Writes the texts in FOLDER as C++ raw string constants, a list of pairs of name and content.
file(GLOB files ${FOLDER}/*.txt)
set(text "constexpr std::pair<std::string_view, std::string_view> kStatementFiles[] = {\n")
foreach(file IN LISTS files)
  get_filename_component(name "${file}" NAME_WE)
  file(READ "${file}" content)
  string(APPEND text "    {\"${name}\", R\"sql(${content})sql\"},\n")
endforeach()
file(WRITE ${OUT} "${text}};\n")
