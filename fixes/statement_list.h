// Most fixes are lists of fixed SQL texts, sent in order. Each text may be narrowed to the current notice by
// a restriction appended at its end.
//
// The texts are sent as they stand: doubled blanks, blanks at the end, "Update" beside "UPDATE" are what the
// databases and their logs have always seen. Nobody should tidy them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "program/notice_scope.h"

namespace vnt {

struct Statement {
  std::string_view text;
  Restriction restriction = kWholeDatabase;
  std::string_view ingres = {};      // stands for `text` on Ingres; empty: both get the same text
  std::string_view one_notice = {};  // stands for `text` when a notice is current; empty: the same text
};

// The text that is sent for a statement, on the main connection's dialect and for the current notice.
std::string TextOf(const Statement& statement, NoticeTest test = NoticeTest::kAboveZero);

// Sends the statements one after the other on the main connection; the first failure (DbError) ends the list.
void Send(std::span<const Statement> statements, NoticeTest test = NoticeTest::kAboveZero);
void Send(const Statement& statement, NoticeTest test = NoticeTest::kAboveZero);

// The same under an error trap of its own: what most fixes consist of.
void SendTrapped(std::span<const Statement> statements, NoticeTest test = NoticeTest::kAboveZero);

// One more in 16-bit arithmetic, as sequence numbers are counted. DbError 6 past 32767.
std::int16_t NextNumber(std::int16_t number, int step = 1);

}  // namespace vnt
