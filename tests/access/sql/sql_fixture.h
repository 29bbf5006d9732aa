// A small database in memory and a session on it; results as text.
#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "access/base/error.h"
#include "access/file/test_files.h"
#include "access/sql/session.h"

namespace jet::sql {

inline std::string Show(const Value& v) {
  switch (v.kind()) {
    case ValueKind::kNull:
      return "null";
    case ValueKind::kInteger:
      return fmt::format("{}", v.integer());
    case ValueKind::kReal:
      return fmt::format("{}", v.real());
    case ValueKind::kDecimal:
      return v.decimal().ToText() + "d";
    case ValueKind::kText:
      return "'" + v.bytes() + "'";
    case ValueKind::kBlob:
      return fmt::format("blob {}", v.bytes().size());
  }
  return "?";
}

class SqlTest : public testing::Test {
 protected:
  void SetUp() override {
    Database::Create(files_, "a.mdb", Format::kJet4);
    database_ = Database::Open(files_, "a.mdb", OpenMode::kReadWrite);
    session_ = std::make_unique<Session>(database_, [this](const std::string& path) {
      return std::shared_ptr<Database>(Database::Open(files_, path, OpenMode::kRead));
    });
  }

  void Run(const std::vector<std::string>& statements) {
    for (const std::string& s : statements) session_->Execute(s);
  }

  // Rows as "1|'a'; 2|null", or the error's text.
  std::string Ask(const std::string& select, const std::vector<Value>& parameters = {}) {
    try {
      auto query = session_->Open(select, parameters);
      std::string out;
      while (query->Step()) {
        if (!out.empty()) out += "; ";
        for (std::size_t i = 0; i < query->columns().size(); ++i) {
          out += (i == 0 ? "" : "|") + Show(query->Get(static_cast<int>(i)));
        }
      }
      return out;
    } catch (const Error& e) {
      return std::string("error: ") + e.what();
    }
  }

  // The count, or the error's text.
  std::string Do(const std::string& statement, const std::vector<Value>& parameters = {}) {
    try {
      return fmt::format("{}", session_->Execute(statement, parameters));
    } catch (const Error& e) {
      return std::string("error: ") + e.what();
    }
  }

  MemoryFileSystem files_;
  std::shared_ptr<Database> database_;
  std::unique_ptr<Session> session_;
};

}  // namespace jet::sql
