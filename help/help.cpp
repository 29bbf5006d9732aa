#include "help/help.h"

#include <string>

#include "platform/desktop.h"
#include "platform/installed.h"
#include "platform/messages.h"

namespace vnt {
namespace {

constexpr std::string_view kHelpFile = "c:\\kv_soft\\system32\\tidyworks.chm";
constexpr std::string_view kHelpNotAvailable =
    "Help not available.\n"
    "The Help Viewer requires that Microsoft Internet Explorer (version 3.02 or later) be set up on the "
    "user's "
    "computer.\n"
    "It is not required that Internet Explorer be used as the system's default browser.";

}  // namespace

void ShowHelpFile(std::string_view /*file_name*/) {
  if (platform::OpenDocument(platform::FindOnDriveC(kHelpFile))) return;
  // What the file would have shown, for those who have no viewer.
  const std::string guide = platform::GuideFile();
  if (guide.empty()) {
    platform::ShowMessage(kHelpNotAvailable, platform::MessageStyle::kCritical);
    return;
  }
  platform::ShowMessage(kHelpNotAvailable, platform::MessageStyle::kCritical,
                        "The same text opens in the browser now: " + guide);
  if (platform::OpenInBrowser(guide)) return;
  platform::ShowMessage("No browser can be started. The guide is " + guide,
                        platform::MessageStyle::kInformation);
}

}  // namespace vnt
