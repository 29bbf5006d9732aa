#include "program/program_state.h"

#include <algorithm>
#include <iterator>

#include "platform/messages.h"

namespace vnt {
bool IsIngresSource(std::string_view database_name) {
  return std::ranges::find(kIngresSources, database_name) != std::end(kIngresSources);
}

ProgramState& State() { return platform::InForce<ProgramState>(); }

void CountError(const db::DbError& error) {
  if (State().on_error) State().on_error(error);
}

void ShowError(const db::DbError& error, std::string_view explanation) {
  CountError(error);
  platform::ShowMessage(std::to_string(error.number()) + " " + error.description(),
                        platform::MessageStyle::kPlain,
                        explanation.empty() ? std::string_view(State().error_context) : explanation);
}

db::Connection& MainCn() {
  if (!State().main_connection) {
    throw db::DbError(db::kErrObjectClosed, "VNTFixdb", "No database is open.");
  }
  return State().main_connection->Cn();
}

bool IsIngres() {
  const auto& connection = State().main_connection;
  // An Access connection never gets a data source name, so Null means Access.
  return connection && connection->DsName.type() == db::ValueType::kText &&
         connection->DsName.raw_bytes().ends_with("ING");
}

}  // namespace vnt
