// Which notices a run works on: all of them, or the current one, to which a text at the end of a statement
// narrows it.
#pragma once

#include <string>
#include <string_view>

namespace vnt {

// Which notice identifiers narrow a routine's work. The routines differ in this for negative numbers, and
// deliberately so.
enum class NoticeTest {
  kAboveZero,  // also written "not below 1"
  kNotZero,
};

// Whether the current notice narrows the work of a routine that makes this test.
bool IsRestricted(NoticeTest test = NoticeTest::kAboveZero);

// Text around the number of the current notice, behind a "=". An empty `before` means that the statement is
// never narrowed.
struct Restriction {
  std::string_view before;
  std::string_view after;
};

inline constexpr Restriction kWholeDatabase{};

// What most statements end with. The blanks are as the databases and their logs have always seen them: those
// called "wide" begin with two.
inline constexpr Restriction kAndNotice{" and ntc_id = ", ""};
inline constexpr Restriction kAndNoticeWide{"  and ntc_id = ", ""};
inline constexpr Restriction kWhereNotice{" where ntc_id = ", ""};
inline constexpr Restriction kAndGroups{" and grp_id in (select grp_id from grp where ntc_id = ", ")"};
inline constexpr Restriction kAndGroupsWide{"  and grp_id in (select grp_id from grp where ntc_id = ", ")"};
inline constexpr Restriction kWhereGroups{" where grp_id in (select grp_id from grp where ntc_id = ", ")"};
inline constexpr Restriction kWhereGroupsWide{"  where grp_id in (select grp_id from grp where ntc_id = ",
                                              ")"};

// Restriction text around the number of the current notice, or those of several; empty when no notice narrows
// the work.
std::string CurrentNotice(const Restriction& restriction, NoticeTest test = NoticeTest::kAboveZero);

}  // namespace vnt
