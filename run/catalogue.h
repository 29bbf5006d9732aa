// The catalogue of the forty fixes: one table that the window, the runner, `vntfix list` and the
// documentation read.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace vnt {

struct FixRoutine {
  std::string_view name;
  void (*run)() = nullptr;
};

enum class FixColumn { kLeft, kMiddle, kRight };

struct FixEntry {
  int step = 0;   // order of execution, from 1
  int index = 0;  // of the check box
  std::string_view caption;
  std::string_view tooltip;
  FixColumn column = FixColumn::kLeft;
  int row = 0;  // place in the column, from 0 at the top
  bool ticked = true;
  std::string_view summary;  // one sentence for `vntfix list`
  std::string_view reach;    // what it changes beyond the notice that a run is for; empty: nothing
  std::array<FixRoutine, 6> routines{};
  int routine_count = 0;
};

inline constexpr int kFixCount = 40;

// All fixes in the order in which they run.
std::span<const FixEntry> FixCatalogue();
const FixEntry& FixByIndex(int index);

}  // namespace vnt
