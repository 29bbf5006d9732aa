// What every provider promises, as one suite that runs on each of them. The bodies are in
// provider_contract.cpp; each test program instantiates the suite with its providers.
//
// Where providers may differ, and nowhere else:
//   - types have other names in CREATE TABLE (Type)
//   - error numbers of statements are the server's own behind ODBC (native_numbers)
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "db/connection.h"

namespace vnt::db {

class TestProvider {
 public:
  virtual ~TestProvider() = default;
  // Makes an empty database; the connections of a test all open the same one.
  virtual void SetUp() = 0;
  virtual void Open(Connection& connection) = 0;
  // Name in CREATE TABLE of "long", "short", "single", "double", "text(n)", "memo", "date", "bytes",
  // "decimal".
  virtual std::string Type(const std::string& name) const = 0;
  virtual bool native_numbers() const = 0;
};

struct ProviderParam {
  std::string name;
  std::function<std::unique_ptr<TestProvider>()> make;
};
inline void PrintTo(const ProviderParam& param, std::ostream* out) { *out << param.name; }
inline std::string ParamName(const testing::TestParamInfo<ProviderParam>& param) { return param.param.name; }

class ProviderContract : public testing::TestWithParam<ProviderParam> {
 protected:
  void SetUp() override {
    provider_ = GetParam().make();
    provider_->SetUp();
    provider_->Open(cn_);
  }

  // Executes a CREATE TABLE in which each {type} stands for the provider's name of it.
  void Create(const std::string& ddl);
  // Table t (k long primary key, n short, d double, s text(10)) with rows 1 .. count: n = 10 k, d = k + 0.5,
  // s = "row k".
  void CreateNumbered(int count);
  // One column of a query's rows, as text, joined by blanks; "-" for Null.
  std::string Column(const std::string& sql);

  std::unique_ptr<TestProvider> provider_;
  Connection cn_;
};

// Runs `work` and gives the number of the DbError that it raises; 0 when it raises none.
std::int32_t ErrorNumber(const std::function<void()>& work, std::string* description = nullptr);

}  // namespace vnt::db
