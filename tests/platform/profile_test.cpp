// Private-profile files as the reader must understand them, character by character.

#include <gtest/gtest.h>

#include "platform/profile.h"
#include "platform/user_name.h"

namespace vnt::platform {
namespace {

using std::string_literals::operator""s;

struct ProfileCase {
  const char* what;
  std::string content;
  std::optional<std::string> value;  // of key "Key" in section "Section"
};

class ProfileTest : public ::testing::TestWithParam<ProfileCase> {};

TEST_P(ProfileTest, FindsValue) {
  EXPECT_EQ(FindProfileValue(GetParam().content, "Section", "Key"), GetParam().value) << GetParam().what;
}

const ProfileCase kProfileCases[] = {
    {"plain", "[Section]\nKey=value\n", "value"},
    {"no line end at the end", "[Section]\nKey=value", "value"},
    {"CR LF", "[Section]\r\nKey=value\r\n", "value"},
    {"CR alone", "[Section]\rKey=value\r", "value"},
    {"blanks and tabs around everything", " [ Section ] \n\t Key \t=  a value \t\n", "a value"},
    {"names in other letter case", "[SECTION]\nkEY=value\n", "value"},
    {"first key wins", "[Section]\nKey=first\nkey=second\n", "first"},
    {"first section wins", "[Section]\nOther=1\n[section]\nKey=second\n", std::nullopt},
    {"key of another section", "[Other]\nKey=other\n[Section]\nKey=own\n", "own"},
    {"key before any section", "Key=loose\n[Section]\n", std::nullopt},
    {"comment lines", "[Section]\n;Key=no\n  ; Key=no\nKey=yes\n", "yes"},
    {"semicolon in a value", "[Section]\nKey=a ; b\n", "a ; b"},
    {"equals sign in a value", "[Section]\nKey=a=b\n", "a=b"},
    {"double quotes", "[Section]\nKey=\" a \"\n", " a "},
    {"single quotes", "[Section]\nKey=' a '\n", " a "},
    {"one pair only", "[Section]\nKey=\"\"a\"\"\n", "\"a\""},
    {"quotes that do not match", "[Section]\nKey=\"a'\n", "\"a'"},
    {"a quote alone", "[Section]\nKey=\"\n", "\""},
    {"empty value", "[Section]\nKey=\n", ""},
    {"line without equals sign", "[Section]\nKey\nKey=a\n", "a"},
    {"section never closed", "[Section\nKey=a\n", std::nullopt},
    {"text after the section", "[Section] ; remark\nKey=a\n", "a"},
    {"UTF-8 mark", "\xEF\xBB\xBF[Section]\nKey=\xC3\xA9\n", "é"},
    {"Windows-1252", "[Section]\nKey=caf\xE9 \x80\n", "café €"},
    {"UTF-16", "\xFF\xFE"s + "[\0S\0e\0c\0t\0i\0o\0n\0]\0\n\0K\0e\0y\0=\0\xE9\0=\xD8\0\xDE"s, "é😀"},
    {"end mark of old text files", "[Section]\nKey=a\n\x1A", "a"},
    {"NUL bytes", "[Section]\nKe\0y=b\nKey=a\n"s, "a"},
    {"empty file", "", std::nullopt},
};
INSTANTIATE_TEST_SUITE_P(Table, ProfileTest, ::testing::ValuesIn(kProfileCases));

TEST(ProfileNumber, LeadingSignAndDigits) {
  const std::pair<const char*, std::int32_t> cases[] = {
      {"17", 17},        {" 17 ", 17}, {"-3", -3}, {"+4", 4},  {"12abc", 12}, {"abc", 0},
      {"", 0},           {"-", 0},     {"- 5", 0}, {"1.9", 1}, {"0017", 17},  {"2147483647", 2147483647},
      {"4294967297", 1},  // wraps, as the system's own reader does
  };
  for (const auto& [text, number] : cases) EXPECT_EQ(ParseProfileInt(text), number) << text;
}

TEST(OperatorNameRule, UpperCasedOrNoName) {
  const std::pair<std::optional<std::string>, const char*> cases[] = {
      {"jsmith", "JSMITH"},
      {"jsmith\0rest"s, "JSMITH"},
      {"émile", "ÉMILE"},
      {"", "NONAME"},
      {"\0x"s, "NONAME"},
      {std::nullopt, "NONAME"},
      {"abcdefghijklmnopqrs", "ABCDEFGHIJKLMNOPQRS"},  // 19 characters and the end mark
      {"abcdefghijklmnopqrst", "NONAME"},
  };
  for (const auto& [name, expected] : cases) EXPECT_EQ(OperatorName(name), expected);
}

}  // namespace
}  // namespace vnt::platform
