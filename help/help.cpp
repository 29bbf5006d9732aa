#include "help/help.h"

#include "platform/desktop.h"
#include "platform/messages.h"
#include "platform/settings.h"

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
  if (platform::OpenDocument(platform::ResolvePath(kHelpFile))) return;
  platform::ShowMessage(kHelpNotAvailable, platform::MessageStyle::kCritical);
}

}  // namespace vnt
