// The log file of the band-edge builds, replaced by each build:
//
//   Tidyworks Log for Freq errors 2026-11-21 14:05
//   notice 1007 group 100703: -2147467259 <description of the database error>
#pragma once

#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include "db/error.h"

namespace vnt {

class FrequencyLog {
 public:
  // `path` may lie on drive C:; missing folders are made. DbError 75 when the file cannot be written. In a
  // dry run nothing is written.
  explicit FrequencyLog(std::string_view path);

  // Without a notice or group: the error came before any was reached.
  void Write(std::optional<std::int32_t> ntc_id, std::optional<std::int32_t> grp_id,
             const db::DbError& error);

 private:
  std::ofstream file_;
};

}  // namespace vnt
