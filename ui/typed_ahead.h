// What is typed and clicked while the program works must not reach what comes after.
#pragma once

namespace vnt::ui {

// Paints what has to be painted, and throws away the keys, clicks and closings that came since the last time.
// Gives whether Escape was among them. Timers fire; nothing else happens.
bool ServePaintingOnly();

}  // namespace vnt::ui
