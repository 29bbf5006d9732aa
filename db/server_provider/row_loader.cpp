#include "db/server_provider/row_loader.h"

#include <fmt/format.h>

#include "access/base/error.h"
#include "access/base/interruption.h"

namespace vnt::db {
namespace {

constexpr std::size_t kBatchBytes = 512 << 10;
constexpr int kBatchRows = 2000;

}  // namespace

RowLoader::RowLoader(ServerSession& session, const ServerTable& table, const std::vector<int>& columns)
    : session_(session), table_(table), columns_(columns) {
  head_ = "INSERT INTO " + session.dialect().Name(table.name) + " (";
  for (std::size_t i = 0; i < columns.size(); ++i)
    head_ += (i == 0 ? "" : ", ") + session.dialect().Name(table.columns[columns[i]].name);
  head_ += ") VALUES ";
}

void RowLoader::Add(const std::vector<jet::Value>& values) {
  jet::ThrowIfInterrupted();
  batch_ += rows_in_batch_ == 0 ? "(" : ", (";
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const ServerColumn& column = table_.columns[columns_[i]];
    if (i > 0) batch_ += ", ";
    try {
      batch_ += session_.dialect().Literal(values[i], column.type);
    } catch (const jet::Error& error) {
      throw jet::Error(error.kind(), fmt::format("Column \"{}\" of table \"{}\", row {}: {}", column.name,
                                                 table_.name, rows_ + 1, error.what()));
    }
  }
  batch_ += ')';
  ++rows_in_batch_;
  ++rows_;
  if (rows_in_batch_ == kBatchRows || batch_.size() >= kBatchBytes) Send();
}

void RowLoader::Send() {
  if (rows_in_batch_ == 0) return;
  session_.Run(head_ + batch_);
  batch_.clear();
  rows_in_batch_ = 0;
}

std::int64_t RowLoader::Finish() {
  Send();
  return rows_;
}

}  // namespace vnt::db
