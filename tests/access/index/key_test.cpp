// Key bytes against entries of files that Access wrote, and against the order of the values.
#include "access/index/key.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "access/base/error.h"

namespace jet {
namespace {

std::string Hex(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : bytes) {
    out += kDigits[c >> 4];
    out += kDigits[c & 15];
  }
  return out;
}

std::string Spaceless(std::string text) {
  std::erase(text, ' ');
  return text;
}

std::string Key(const KeyColumn& column, const Value& value) {
  std::string key;
  AppendKey(column, value, &key);
  return key;
}

TEST(TextKey, IsWhatAccessWrites) {
  struct Case {
    std::string text;
    std::string legacy;
    std::string general;
  };
  const Case cases[] = {
      {"Rose", "69 64 6B 51 01 00", "0E8A 0E7C 0E91 0E21 01 00"},
      {"rose hip  ", "69 64 6B 51 07 57 59 66 01 00", "0E8A 0E7C 0E91 0E21 0702 0E2C 0E32 0E7E 01 00"},
      {"", "01 00", "01 00"},
      {"   ", "01 00", "01 00"},
      {"coop", "4D 64 64 66 01 00", "0E0A 0E7C 0E7C 0E7E 01 00"},
      {"co-op", "4D 64 64 66 01 01 01 01 80 0F 06 82 00", "0E0A 0E7C 0E7C 0E7E 01 01 01 01 80 0F 06 82 00"},
      {"O'Neil", "64 62 51 59 5E 01 01 01 01 80 0B 06 80 00",
       "0E7C 0E70 0E21 0E32 0E48 01 01 01 01 80 0B 06 80 00"},
      {"Cr\u00E8me", "4D 69 51 60 51 01 02 02 0F 00", "0E0A 0E8A 0E21 0E51 0E21 01 02 02 0F 00"},
      {"\u00E9", "51 01 0E 00", "0E21 01 0E 00"},
      {"e\u0301", "51 01 0E 00", "0E21 01 0E 00"},
      {"\u00C6gir", "4A 51 55 59 69 01 00", "0E02 0E21 0E25 0E32 0E8A 01 00"},
      {"Stra\u00DFe", "6B 6D 69 4A 6B 6B 51 01 00", "0E91 0E99 0E8A 0E02 0E91 0E91 0E21 01 00"},
      {"\u0141\u00F3d\u017A", "5E 64 4F 78 01 1F 0E 02 0E 00", "0E48 0E7C 0E1A 0EA9 01 1F 0E 02 0E 00"},
      {"\u304B\u306A", "7F0A 7F22 01 01 01 FF 02 80 FF 80 00", "7F0A 7F22 01 01 01 FF 02 80 FF 80 00"},
      {"\u30AB\u30CA", "7F0A 7F22 01 01 01 FF 02 80 FF 80 00", "7F0A 7F22 01 01 01 FF 02 80 FF 80 00"},
      {"\u6771\u4EAC", "B8EE 9FC6 01 00", "FDFF560F FDFF3D18 01 00"},
      {"\U0001F600", "B03F B6FC 01 3F 3F 00", "B03F B6FC 01 3F 3F 00"},
      // Half a pair, in three bytes of its own, has the key of that half.
      {"\xED\xA0\xBD\xED\xB8\x80", "B03F B6FC 01 3F 3F 00", "B03F B6FC 01 3F 3F 00"},
      {"handsaw \u2013 fine", "574A624F6B4A73 07 07 53596251 01 01 01 01 8027 0689 00", ""},
      {"Cr\u00E8me Br\u00FBl\u00E9e", "4d69516051074c696f5e515101 02020f0202020202120 20e 00", ""},
  };
  for (const Case& c : cases) {
    std::string legacy, general, descending;
    AppendTextKey(Collation::kGeneralLegacy, c.text, &legacy);
    std::string expected = Spaceless(c.legacy);
    for (char& digit : expected) digit = static_cast<char>(std::toupper(static_cast<unsigned char>(digit)));
    EXPECT_EQ(Hex(legacy), expected) << c.text;
    AppendTextKey(Collation::kGeneral, c.text, &general);
    if (!c.general.empty()) {
      EXPECT_EQ(Hex(general), Spaceless(c.general)) << c.text;
    }

    KeyColumn column{ColumnType::kText, true};
    descending = Key(column, Value::Text(c.text));
    ASSERT_EQ(descending.size(), legacy.size() + 2);
    EXPECT_EQ(descending.front(), '\x80');
    EXPECT_EQ(descending.back(), '\0');
    for (std::size_t i = 0; i < legacy.size(); ++i) {
      EXPECT_EQ(static_cast<unsigned char>(descending[i + 1]), 0xFF ^ static_cast<unsigned char>(legacy[i]));
    }
  }
  EXPECT_EQ(Hex(Key({ColumnType::kText, true}, Value::Text("Rose"))), "80969B94AEFEFF00");
}

TEST(TextKey, LooksAt255UnitsAndThenDropsBlanks) {
  const auto key = [](const std::string& text) {
    std::string bytes;
    AppendTextKey(Collation::kGeneralLegacy, text, &bytes);
    return Hex(bytes);
  };
  const std::string full(255, 'a');
  EXPECT_EQ(key(full), key(full + "b"));
  EXPECT_NE(key(full), key(full.substr(1)));
  EXPECT_EQ(key("a" + std::string(254, ' ') + "b"), key("a"));
  EXPECT_EQ(key(full + "\u00E9"), key(full));
  std::string worst;
  for (int i = 0; i < 300; ++i) worst += "\U0001F600";
  EXPECT_EQ(key(worst).size(), 2 * (255 * 2 + 1 + 255 + 1));
}

TEST(TextKey, Jet3WritesAccentsAsHalfBytes) {
  struct Case {
    std::string text, key;
  };
  const Case cases[] = {
      {"", "00"},
      {"ab", "606100"},
      {std::string("a\0b", 3), "60106100"},
      {"\u00E9", "660400"},             // 0 4 | 0
      {"e\u00E9", "66660240"},          // 0 2 | 4 0
      {"b\u00E9\u00E9", "6166660440"},  // b has no accents, hence no place
      {"\u4E2D", "00"},                 // not in the code page
  };
  for (const Case& c : cases) {
    std::string key;
    AppendTextKey(Collation::kGeneral97, c.text, &key);
    EXPECT_EQ(Hex(key), c.key) << c.text;
  }
}

TEST(Key, EncodesEveryType) {
  const auto currency = [](std::int64_t v) { return Value::Dec(Decimal::FromScaledInt64(v, 4)); };
  const auto decimal = [](const char* text) {
    Decimal d;
    EXPECT_TRUE(Decimal::FromText(text, &d));
    return Value::Dec(d);
  };
  KeyColumn ace_decimal{ColumnType::kDecimal};
  ace_decimal.decimal_scale = 2;
  KeyColumn ace_decimal_down = ace_decimal;
  ace_decimal_down.descending = true;
  KeyColumn jet_decimal = ace_decimal;
  jet_decimal.jet4_decimal = true;
  const std::string zeros(26, '0');
  const std::string effs(26, 'F');
  struct Case {
    KeyColumn column;
    Value value;
    std::string key;
  };
  const Case cases[] = {
      {{ColumnType::kLong}, Value::Null(), "00"},
      {{ColumnType::kLong, true}, Value::Null(), "FF"},
      {{ColumnType::kBoolean}, Value::Integer(-1), "7F00"},
      {{ColumnType::kBoolean}, Value::Integer(0), "7FFF"},
      {{ColumnType::kBoolean, true}, Value::Integer(-1), "80FF"},
      {{ColumnType::kByte}, Value::Integer(200), "7FC8"},
      {{ColumnType::kByte, true}, Value::Integer(200), "8037"},
      {{ColumnType::kInteger}, Value::Integer(-2), "7F7FFE"},
      {{ColumnType::kLong}, Value::Integer(101), "7F80000065"},
      {{ColumnType::kLong, true}, Value::Integer(101), "807FFFFF9A"},
      {{ColumnType::kLong}, Value::Integer(-2147483648LL), "7F00000000"},
      {{ColumnType::kBigInt}, Value::Integer(1), "7F8000000000000001"},
      {{ColumnType::kCurrency}, currency(-1), "7F7FFFFFFFFFFFFFFF"},
      {{ColumnType::kCurrency}, currency(std::numeric_limits<std::int64_t>::min()), "7F0000000000000000"},
      {{ColumnType::kCurrency}, decimal("1.5"), "7F8000000000003A98"},
      {{ColumnType::kSingle}, Value::Real(1), "7FBF800000"},
      {{ColumnType::kDouble}, Value::Real(1), "7FBFF0000000000000"},
      {{ColumnType::kDouble}, Value::Real(-1), "7F400FFFFFFFFFFFFF"},
      {{ColumnType::kDouble}, Value::Real(-0.0), "7F7FFFFFFFFFFFFFFF"},
      {{ColumnType::kDouble, true}, Value::Real(1), "80400FFFFFFFFFFFFF"},
      {{ColumnType::kDouble, true}, Value::Real(-1), "80BFF0000000000000"},
      {{ColumnType::kBinary}, Value::Blob(""), "7F"},
      {{ColumnType::kBinary}, Value::Blob("abc"), "7F616263000000000003"},
      {{ColumnType::kBinary}, Value::Blob("abcdefgh"), "7F616263646566676808"},
      {{ColumnType::kBinary}, Value::Blob("abcdefghi"), "7F616263646566676809690000000000000001"},
      {{ColumnType::kBinary, true}, Value::Blob("abcdefghi"), "809E9D9C9B9A9998970996FFFFFFFFFFFFFFFE"},
      {{ColumnType::kGuid},
       Value::Text("{00112233-4455-6677-8899-AABBCCDDEEFF}"),
       "7F00112233445566770"
       "98899AABBCCDDEEFF08"},
      {ace_decimal, decimal("1.00"), "7FFF" + zeros + "000064"},
      {ace_decimal, decimal("1"), "7FFF" + zeros + "000064"},
      {ace_decimal, decimal("-1.00"), "7F00" + effs + "FFFF9B"},
      {ace_decimal_down, decimal("1.00"), "8000" + effs + "FFFF9B"},
      {jet_decimal, decimal("1.00"), "7FFF" + zeros + "000064"},
      {jet_decimal, decimal("-1.00"), "7F00" + effs + "FFFF9B"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Hex(Key(c.column, c.value)), c.key) << static_cast<int>(c.column.type);
  }
}

TEST(Key, OrderOfKeysIsOrderOfValues) {
  std::vector<std::string> keys;
  const double values[] = {
      -std::numeric_limits<double>::infinity(), -1e300, -1.5, -1e-300, -0.0, 0.0, 1e-300, 0.1, 1, 1e300};
  for (double v : values) keys.push_back(Key({ColumnType::kDouble}, Value::Real(v)));
  EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end()));
  EXPECT_EQ(std::adjacent_find(keys.begin(), keys.end()), keys.end());
  keys.clear();
  for (double v : values) keys.push_back(Key({ColumnType::kDouble, true}, Value::Real(v)));
  EXPECT_TRUE(std::is_sorted(keys.rbegin(), keys.rend()));
  keys.clear();
  for (const char* text : {"", "1", "a", "A b", "ab", "\u00E0b", "b", "Z"}) {
    keys.push_back(Key({ColumnType::kText}, Value::Text(text)));
  }
  EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end()));
}

TEST(Key, RefusesWhatItDoesNotKnow) {
  KeyColumn foreign{ColumnType::kText};
  foreign.collation = Collation::kUnsupported;
  for (const KeyColumn& column : {foreign, KeyColumn{ColumnType::kOle}}) {
    EXPECT_FALSE(IsKeySupported(column));
    std::string key;
    try {
      AppendKey(column, Value::Null(), &key);
      ADD_FAILURE();
    } catch (const Error& error) {
      EXPECT_EQ(error.kind(), ErrorKind::kNotSupported);
    }
  }
}

}  // namespace
}  // namespace jet
