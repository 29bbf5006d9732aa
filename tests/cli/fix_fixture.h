// A folder with sample databases, and vntfix fix on them.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/cli/folder_test.h"

namespace vnt::cli {

class FixCommand : public FolderTest {
 protected:
  FixCommand() { MakeSample("10"); }
  Outcome Fix(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "fix");
    arguments.insert(arguments.end(), {"--reference", At("reference.mdb"), "--template", At("template.mdb")});
    return RunCli(arguments);
  }
  nlohmann::json Report(const char* name) const { return nlohmann::json::parse(Slurp(At(name))); }
  std::string Rows(const std::string& file) {
    std::string rows;
    for (const char* table : {"notice", "grp", "assgn", "freq", "provn"}) {
      rows += RunCli({"export", file, table}).out;
    }
    return rows;
  }

  const std::string file_ = At("notices.mdb");
};

}  // namespace vnt::cli
