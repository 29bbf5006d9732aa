// Which notices a run works on: all of them, or the current one.
#pragma once

namespace vnt {

// Which notice identifiers narrow a routine's work. The routines differ in this for negative numbers, and
// deliberately so.
enum class NoticeTest {
  kAboveZero,  // also written "not below 1"
  kNotZero,
};

// Whether the current notice narrows the work of a routine that makes this test.
bool IsRestricted(NoticeTest test = NoticeTest::kAboveZero);

}  // namespace vnt
