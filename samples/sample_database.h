// Sample databases: a notice database with realistic content and the defects that the fixes repair, a pattern
// reference database and a template database. The same options always give the same rows, and the rows of the
// first notices do not depend on how many follow. From the 40,001st on, notices have two groups in place of
// eight, so that 100,000 fit into an Access file.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "access/base/types.h"
#include "access/file/file.h"

namespace vnt::samples {

inline constexpr int kMinNotices = 10;  // one of each kind
inline constexpr int kMaxNotices = 100000;

struct SampleOptions {
  int notices = 100;
  std::uint64_t seed = 1;
  jet::Format format = jet::Format::kJet4;
};

struct SampleFiles {
  std::string notice;          // notices.mdb or notices.accdb
  std::string reference;       // reference.*
  std::string empty_template;  // template.*
  std::int64_t rows = 0;       // in the notice database
};

// Makes the three files in an existing folder; none is left behind when that fails. jet::Error(kExists) when
// one of them is there. `progress` is told the number of notices written so far.
SampleFiles MakeSample(jet::FileSystem& files, const std::string& folder, const SampleOptions& options,
                       const std::function<void(int)>& progress = {});

}  // namespace vnt::samples
