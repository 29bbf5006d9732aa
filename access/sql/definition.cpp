// CREATE, DROP and ALTER: straight to the store.

#include <fmt/format.h>

#include "access/base/error.h"
#include "access/sql/session_impl.h"

namespace jet::sql {

void Session::Impl::RunDefinition(const Statement& s) {
  switch (s.kind) {
    case StatementKind::kCreateTable:
      database->CreateTable(s.table, s.new_columns, s.new_indexes);
      break;
    case StatementKind::kDropTable:
      if (!database->FindTable(s.table)) {
        throw Error(ErrorKind::kNoTable, fmt::format("The table '{}' does not exist.", s.table));
      }
      database->DropTable(s.table);
      break;
    case StatementKind::kCreateIndex:
    case StatementKind::kAddIndex:
      for (const NewIndex& index : s.new_indexes) database->CreateIndex(s.table, index);
      break;
    case StatementKind::kDropIndex:
      database->DropIndex(s.table, s.object);
      break;
    case StatementKind::kAddColumn:
      for (const NewColumn& column : s.new_columns) database->AddColumn(s.table, column);
      for (const NewIndex& index : s.new_indexes) database->CreateIndex(s.table, index);
      break;
    default:
      throw Error(ErrorKind::kNotSupported, "The statement is not supported.");
  }
}

}  // namespace jet::sql
