#include "fixes/statement_list.h"

#include "db/value.h"
#include "program/error_trap.h"
#include "program/program_state.h"

namespace vnt {

std::string TextOf(const Statement& statement, NoticeTest test) {
  std::string_view text = statement.text;
  if (!statement.one_notice.empty() && IsRestricted(test)) text = statement.one_notice;
  if (!statement.ingres.empty() && IsIngres()) text = statement.ingres;
  return std::string(text) + CurrentNotice(statement.restriction, test);
}

void Send(const Statement& statement, NoticeTest test) { MainCn().Execute(TextOf(statement, test)); }

void Send(std::span<const Statement> statements, NoticeTest test) {
  for (const Statement& statement : statements) Send(statement, test);
}

void SendTrapped(std::span<const Statement> statements, NoticeTest test) {
  Trapped([&] { Send(statements, test); });
}

std::int16_t NextNumber(std::int16_t number, int step) { return db::Value::Int32(number + step).ToInt16(); }

}  // namespace vnt
