// Two databases compared for the window, and the differences saved.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "compare/diff_writers.h"
#include "compare/difference_store.h"

namespace vnt::ui {

struct Comparison {
  std::string first, second;  // paths
  std::int32_t notice = 0;    // 0: all
};

// The notice that was typed: 0 for nothing. False when it is none.
bool ReadNotice(const std::string& text, std::int32_t* notice);

using ComparisonProgress = std::function<void(std::uint64_t done, std::uint64_t all)>;

// DbError when a file cannot be read, neither has the notice, or the work was interrupted.
std::unique_ptr<compare::DifferenceStore> FindDifferences(const Comparison& comparison,
                                                          const ComparisonProgress& progress);
// The same of two open databases.
std::unique_ptr<compare::DifferenceStore> FindDifferences(jet::Database& first, jet::Database& second,
                                                          std::int32_t notice, compare::Sides sides,
                                                          const ComparisonProgress& progress);

// Writes what was found as vntfix diff prints it: JSON where the name ends in ".json", else CSV. DbError,
// also when the file cannot be written.
void SaveDifferences(compare::DifferenceStore& differences, const compare::DiffNames& names,
                     const std::string& path, const ComparisonProgress& progress);

}  // namespace vnt::ui
