#include "access/base/text.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace jet {
namespace {

using namespace std::string_literals;

TEST(CodePoints, ReadAndWritten) {
  const std::pair<const char*, char32_t> cases[] = {
      {"A", 'A'},
      {"\x7F", 0x7F},
      {"\xC2\x80", 0x80},
      {"\xDF\xBF", 0x7FF},
      {"\xE0\xA0\x80", 0x800},
      {"\xED\xA0\xBD", 0xD83D},  // an unpaired surrogate
      {"\xEF\xBF\xBF", 0xFFFF},
      {"\xF0\x90\x80\x80", 0x10000},
      {"\xF4\x8F\xBF\xBF", 0x10FFFF},
  };
  for (const auto& [text, code] : cases) {
    const std::string behind = text + "x"s;
    std::size_t pos = 0;
    char32_t read = 0;
    EXPECT_TRUE(ReadCodePoint(behind, &pos, &read)) << text;
    EXPECT_EQ(read, code);
    EXPECT_EQ(pos, behind.size() - 1);
    std::string written;
    AppendCodePoint(code, &written);
    EXPECT_EQ(written, text);
  }
}

TEST(CodePoints, WhatIsNoUtf8StandsForItself) {
  const char* const cases[] = {"\x80",
                               "\xC0\x80",
                               "\xC1\xBF",
                               "\xC3",
                               "\xC3(",
                               "\xE0\x80\x80",
                               "\xE2\x82",
                               "\xE2(\xAC",
                               "\xF0\x80\x80\x80",
                               "\xF4\x90\x80\x80",
                               "\xF5\x80\x80\x80",
                               "\xFF"};
  for (const std::string text : cases) {
    std::size_t pos = 0;
    char32_t code = 0;
    EXPECT_FALSE(ReadCodePoint(text, &pos, &code)) << testing::PrintToString(text);
    EXPECT_EQ(pos, 0U);
    EXPECT_EQ(NextCodePoint(text, &pos), static_cast<unsigned char>(text[0]));
    EXPECT_EQ(pos, 1U);
  }
}

TEST(Utf16, CutsCountUnits) {
  const std::string text = "a\u00E9\U0001F600z";
  EXPECT_EQ(Utf16Length(text), 5U);
  EXPECT_EQ(Utf16Substring(text, 1, 3), "\u00E9\U0001F600");
  EXPECT_EQ(Utf16Substring(text, 0, 3), "a\u00E9\xED\xA0\xBD") << "the first half of the pair";
  EXPECT_EQ(Utf16Substring(text, 3, 2), "\xED\xB8\x80z") << "the second half of the pair";
  EXPECT_EQ(Utf16Substring(text, 4, std::string::npos), "z");
  EXPECT_EQ(Utf16Substring(text, 5, 1), "");
}

TEST(Windows1252, ThereAndBack) {
  for (int byte = 0; byte < 256; ++byte) {
    EXPECT_EQ(ToWindows1252(FromWindows1252(static_cast<std::uint8_t>(byte))), byte);
  }
  EXPECT_EQ(FromWindows1252(0x80), u'\u20AC');
  EXPECT_EQ(FromWindows1252(0x9F), u'\u0178');
  EXPECT_EQ(ToWindows1252(u'\u0153'), 0x9C);
  EXPECT_EQ(ToWindows1252(u'\u0100'), -1);
  EXPECT_EQ(ToWindows1252(0x80 + 0x0A), -1) << "a control character whose byte is another character";
}

TEST(LetterCase, PairsBeyondAscii) {
  const std::pair<const char*, const char*> cases[] = {{"straße", "STRAßE"}, {"łódź", "ŁÓDŹ"}, {"ňÿ", "ŇŸ"},
                                                       {"жёџ", "ЖЁЏ"},       {"ω÷×", "Ω÷×"},   {"άώ", "ΆΏ"}};
  for (const auto& [small, capital] : cases) {
    EXPECT_EQ(UpperText(small), capital);
    EXPECT_TRUE(EqualNames(small, capital));
  }
}

TEST(SameNames, TheRuleOfWordsAndOfNames) {
  EXPECT_TRUE(EqualWords("Data Source", "DATA source"));
  EXPECT_FALSE(EqualWords("DSN", "DSNX"));
  EXPECT_FALSE(EqualWords("ł", "Ł"));
  EXPECT_FALSE(EqualWords("[", "{")) << "other characters 32 apart are not letters";
  EXPECT_TRUE(EqualNames("ntc_ID", "NTC_id"));
  EXPECT_FALSE(EqualNames("ntc_id", "ntc_id2"));
  EXPECT_FALSE(EqualNames("ntc_id ", "ntc_id"));
  EXPECT_FALSE(EqualNames("\xC3", "\xC3\xA9"));
}

TEST(Blanks, OnlyBlanksAreTrimmed) {
  EXPECT_EQ(TrimBlanks("  a b\t "), "a b\t");
  EXPECT_EQ(TrimBlanks("   "), "");
}

TEST(Numbers, AsTexts) {
  const struct {
    double number;
    const char* text;      // 15 digits
    const char* shortest;  // reads back as the same
  } cases[] = {
      {0, "0", "0"},
      {-0.0, "0", "0"},
      {0.1 + 0.2, "0.3", "0.30000000000000004"},
      {1234567.0, "1234567", "1234567"},
      {999999999999999, "999999999999999", "999999999999999"},
      {1e15, "1E+15", "1E+15"},
      {-1e20, "-1E+20", "-1E+20"},
      {0.0001, "0.0001", "0.0001"},
      {0.00001, "1E-05", "1E-05"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(NumberText(c.number), c.text);
    EXPECT_EQ(ShortestText(c.number), c.shortest);
  }
  EXPECT_EQ(NumberText(0.1F, 7), "0.1");
  EXPECT_EQ(NumberText(12345678, 7), "1.234568E+07");
  EXPECT_EQ(ShortestText(0.1F), "0.1");
}

}  // namespace
}  // namespace jet
