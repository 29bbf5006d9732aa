// Returns notices to the state in which they are captured, before any examination.
#pragma once

namespace vnt {

void FixActionCode();
void RemoveFindingsAndKvData();
void SetStatus01();

}  // namespace vnt
