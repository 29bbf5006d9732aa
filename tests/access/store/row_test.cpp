// Rows as bytes, text and value conversion.
#include <cmath>
#include <limits>

#include "access/store/row_codec.h"
#include "access/store/text_codec.h"
#include "access/store/value_convert.h"
#include "tests/access/store/store_fixture.h"

namespace jet::testing {
namespace {

Bytes AsBytes(const std::string& s) { return {reinterpret_cast<const std::uint8_t*>(s.data()), s.size()}; }

Value Dec(const char* text) {
  Decimal d;
  EXPECT_TRUE(Decimal::FromText(text, &d)) << text;
  return Value::Dec(d);
}

std::string Hex(Bytes bytes) {
  std::string hex;
  for (const std::uint8_t b : bytes) {
    hex += "0123456789abcdef"[b >> 4];
    hex += "0123456789abcdef"[b & 15];
  }
  return hex;
}

std::string Unhex(const std::string& hex) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

TEST(TextCodecTest, StoredFormAndBack) {
  struct Case {
    const char* what;
    std::string utf8;
    bool compress;
    std::string hex;
  };
  const std::vector<Case> cases = {
      {"compressed", "hammer", true, "fffe68616d6d6572"},
      {"two characters are never compressed", "ha", true, "68006100"},
      {"not compressed without the flag", "ham", false, "680061006d00"},
      {"Latin-1 compresses", "caf\xC3\xA9", true, "fffe636166e9"},
      {"a unit past 255 keeps all plain",
       "a\xE2\x80\x93"
       "b",
       true, "610013206200"},
      {"NUL keeps all plain", std::string("a\0bc", 4), true, "6100000062006300"},
      {"surrogate pair", "\xF0\x9F\x98\x80", true, "3dd800de"},
      {"unpaired surrogate",
       "\xED\xA0\xBD"
       "x",
       true, "3dd87800"},
      {"empty", "", true, ""},
  };
  for (const Case& c : cases) {
    std::string raw, back;
    ASSERT_TRUE(EncodeText(c.utf8, c.compress, 1024, &raw)) << c.what;
    EXPECT_EQ(Hex(AsBytes(raw)), c.hex) << c.what;
    ASSERT_TRUE(DecodeText(AsBytes(raw), true, 1252, &back)) << c.what;
    EXPECT_EQ(back, c.utf8) << c.what;
  }
}

TEST(TextCodecTest, ReadsWhatItNeverWrites) {
  std::string text;
  // Compressed, two bytes a unit after 00, compressed again.
  ASSERT_TRUE(DecodeText(AsBytes(Unhex("fffe6162001320610000"
                                       "63")),
                         true, 1252, &text));
  EXPECT_EQ(text,
            "ab\xE2\x80\x93"
            "ac");
  text.clear();
  ASSERT_TRUE(DecodeText(AsBytes(Unhex("4180e9")), false, 1252, &text));
  EXPECT_EQ(text, "A\xE2\x82\xAC\xC3\xA9") << "code page 1252";
  EXPECT_FALSE(DecodeText(AsBytes(Unhex("410042")), true, 1252, &text)) << "half a unit";
  std::string raw = "kept";
  EXPECT_FALSE(EncodeText("\xEF\xBB\xBFx", true, 1024, &raw)) << "would read as compressed";
  EXPECT_FALSE(EncodeText("\xC3(", true, 1024, &raw)) << "not UTF-8";
  EXPECT_EQ(raw, "kept");
}

// A row as Access lays it out: columns Id Long, ToolName Text, Sold Yes/No, Qty Integer, Notes Memo.
TEST(RowCodecTest, ReadsRowsAndRefusesDamagedOnes) {
  TestFile file;
  ColumnDef id = Column("Id", ColumnType::kLong), name = Column("ToolName", ColumnType::kText, 30),
            sold = Column("Sold", ColumnType::kBoolean), qty = Column("Qty", ColumnType::kInteger),
            notes = Column("Notes", ColumnType::kMemo), late = Column("Late", ColumnType::kDouble);
  name.number = 1;
  sold.number = 2;
  qty.number = 3;
  qty.fixed_offset = 4;
  notes.number = 4;
  notes.variable_index = 1;
  late.number = 5;
  late.fixed_offset = 6;
  const std::string good = Unhex(
      "0500"
      "65000000"
      "0700"
      "fffe68616d6d6572"
      "0a000080"
      "00000000"
      "00000000"
      "73007400650065006c00"
      "2600"
      "1000"
      "0800"
      "0200"
      "1f");
  const RowFormat format{false, 0, 0, 2};
  const RowView row = RowView::Parse(format, AsBytes(good), 20, 0xFD1);
  const auto value = [&](const ColumnDef& c) {
    Bytes raw;
    return row.Raw(c, &raw) ? DecodeValue(file.context(), c, raw, row) : Value::Null();
  };
  EXPECT_EQ(value(id), Value::Integer(101));
  EXPECT_EQ(value(name), Value::Text("hammer"));
  EXPECT_EQ(value(qty), Value::Integer(7));
  EXPECT_EQ(value(notes), Value::Text("steel"));
  EXPECT_TRUE(row.MaskBit(sold.number));
  EXPECT_TRUE(value(late).is_null()) << "the row is older than the column";

  // Each damaged form raises kCorrupt with the page, whatever column is read; none reads outside.
  for (std::size_t at = 0; at < good.size(); ++at) {
    for (const int byte : {0x00, 0x7F, 0xFF}) {
      const auto bad = std::make_unique<std::uint8_t[]>(good.size());
      std::copy(good.begin(), good.end(), bad.get());
      bad[at] = static_cast<std::uint8_t>(byte);
      try {
        const RowView view = RowView::Parse(format, {bad.get(), good.size()}, 20, 0);
        for (const ColumnDef* c : {&id, &name, &qty, &notes, &late}) {
          Bytes raw;
          if (view.Raw(*c, &raw)) DecodeValue(file.context(), *c, raw, view);
        }
      } catch (const Error& e) {
        EXPECT_EQ(e.kind(), ErrorKind::kCorrupt);
      }
    }
  }
  for (std::size_t size = 0; size < 20; ++size) {
    const auto bad = std::make_unique<std::uint8_t[]>(size);
    std::copy_n(good.begin(), size, bad.get());
    try {
      const RowView view = RowView::Parse(format, {bad.get(), size}, 20, 0);
      Bytes raw;
      view.Raw(notes, &raw);
    } catch (const Error& e) {
      EXPECT_EQ(e.page(), 20);
    }
  }
}

// As Access stored them; the type is that of the property ResultType.
TEST(RowCodecTest, CalculatedValues) {
  TestFile file;
  struct Case {
    ColumnType type;
    std::string data;
    Value value;
  };
  Decimal long_decimal;  // 56505085819.424791296572280180
  long_decimal.high = 0xB693E958;
  long_decimal.low = 0x1852AAF7C8EA4D74;
  long_decimal.scale = 18;
  const std::vector<Case> cases = {
      {ColumnType::kBoolean, "ff", Value::Integer(-1)},
      {ColumnType::kBoolean, "00", Value::Integer(0)},
      {ColumnType::kLong, "0c000000", Value::Integer(12)},
      {ColumnType::kSingle, "59732145", Value::Real(2583.209228515625)},
      {ColumnType::kDateTime, "00000000e07be540", Value::Real(43999)},
      {ColumnType::kCurrency, "bffcffffffffffff", Dec("-0.0833")},
      {ColumnType::kText, "fffe446f652c204a6f686e", Value::Text("Doe, John")},
      {ColumnType::kDecimal, "0000068000000000f8b4280200000000", Dec("-36.222200")},
      {ColumnType::kDecimal, "0e000a0000000000ec04b01fe7ae0000", Dec("19230.7692307692")},
      {ColumnType::kDecimal, "0e00120058e993b6744deac8f7aa5218", Value::Dec(long_decimal)},
      {ColumnType::kBoolean, "", Value::Null()},
      {ColumnType::kDateTime, "", Value::Null()},
      {ColumnType::kText, "", Value::Null()},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.data);
    ColumnDef column = Column("Sum", c.type);
    column.fixed = false;
    column.calculated = true;
    const std::string data = Unhex(c.data);
    const std::string raw = std::string(16, '\0') + static_cast<char>(data.size()) + std::string(3, '\0') +
                            data + std::string(3, '\0');
    EXPECT_EQ(DecodeValue(file.context(), column, AsBytes(raw), RowView{}), c.value);
    EXPECT_EQ(IsNullValue(file.context(), column, AsBytes(raw), RowView{}), c.value.is_null());
    if (!data.empty()) {
      EXPECT_TRUE(ValueBytes(column) == 0 || ValueBytes(column) == data.size());
      // Cut short anywhere it is damage, not a value.
      for (std::size_t size = 1; size < 20 + data.size(); ++size) {
        EXPECT_EQ(
            KindOfError([&] { DecodeValue(file.context(), column, AsBytes(raw).first(size), RowView{}); }),
            ErrorKind::kCorrupt);
      }
    }
  }
}

TEST(RowCodecTest, Jet3JumpTable) {
  // 300 bytes of variable values: 260 of the first, 10 of the second. The second begins past 256.
  ColumnDef first = Column("A", ColumnType::kBinary), second = Column("B", ColumnType::kBinary);
  second.number = 1;
  second.variable_index = 1;
  std::string row(1, '\x02');
  row.append(260, 'a').append(10, 'b');
  row += static_cast<char>(271 - 256);  // end
  row += static_cast<char>(261 - 256);  // second
  row += '\x01';                        // first
  row += '\x01';                        // jump: value 1 is the first past 256
  row += '\x02';
  row += '\x03';
  const RowView view = RowView::Parse({true, 0, 0, 2}, AsBytes(row), 9, 0);
  Bytes value;
  ASSERT_TRUE(view.Raw(first, &value));
  EXPECT_EQ(value.size(), 260u);
  ASSERT_TRUE(view.Raw(second, &value));
  EXPECT_EQ(std::string(value.begin(), value.end()), std::string(10, 'b'));
}

TEST(ConvertTest, ValuesFitTheirColumns) {
  ColumnDef decimal = Column("d", ColumnType::kDecimal);
  decimal.precision = 6;
  decimal.scale = 2;
  const auto col = [](ColumnType type) { return Column("c", type, 5); };
  struct Case {
    ColumnDef column;
    Value in, out;
  };
  const std::vector<Case> cases = {
      {col(ColumnType::kInteger), Value::Real(2.5), Value::Integer(2)},
      {col(ColumnType::kInteger), Value::Real(3.5), Value::Integer(4)},
      {col(ColumnType::kInteger), Value::Real(-2.5), Value::Integer(-2)},
      {col(ColumnType::kLong), Value::Text(" 12 "), Value::Integer(12)},
      {col(ColumnType::kLong), Value::Text("1.5e1"), Value::Integer(15)},
      {col(ColumnType::kLong), Dec("7.5"), Value::Integer(8)},
      {col(ColumnType::kBigInt), Value::Integer(std::numeric_limits<std::int64_t>::min()),
       Value::Integer(std::numeric_limits<std::int64_t>::min())},
      {col(ColumnType::kSingle), Value::Real(0.1), Value::Real(static_cast<double>(0.1f))},
      {col(ColumnType::kDouble), Value::Integer(3), Value::Real(3)},
      {col(ColumnType::kDouble), Value::Text("-.5"), Value::Real(-0.5)},
      {col(ColumnType::kDateTime), Value::Real(-657434.75), Value::Real(-657434.75)},  // the first evening
      {col(ColumnType::kBoolean), Value::Integer(5), Value::Integer(-1)},
      {col(ColumnType::kBoolean), Value::Null(), Value::Integer(0)},
      {col(ColumnType::kText), Value::Integer(-12), Value::Text("-12")},
      {col(ColumnType::kText), Value::Real(0.1), Value::Text("0.1")},
      {col(ColumnType::kText), Dec("1.50"), Value::Text("1.5")},
      {col(ColumnType::kCurrency), Value::Real(1.00005), Dec("1.0000")},
      {col(ColumnType::kCurrency), Dec("1.00015"), Dec("1.0002")},
      {decimal, Value::Real(1234.565), Dec("1234.56")},
      {decimal, Value::Integer(9999), Dec("9999.00")},
  };
  TableDef table;
  for (const Case& c : cases) {
    Value storage;
    EXPECT_EQ(*ConvertToColumn(table, c.column, c.in, &storage), c.out)
        << DescribeValue(c.in) << " -> " << DescribeValue(c.out);
  }
  struct Bad {
    ColumnDef column;
    Value in;
    ErrorKind kind;
  };
  ColumnDef no_empty = col(ColumnType::kText);
  no_empty.allow_zero_length = false;
  const double infinity = std::numeric_limits<double>::infinity();
  const std::vector<Bad> bad = {
      {col(ColumnType::kByte), Value::Integer(-1), ErrorKind::kTooLarge},
      {col(ColumnType::kInteger), Value::Real(32767.5), ErrorKind::kTooLarge},
      {col(ColumnType::kBigInt), Value::Real(9.3e18), ErrorKind::kTooLarge},
      {col(ColumnType::kLong), Value::Real(std::nan("")), ErrorKind::kTooLarge},
      {col(ColumnType::kLong), Value::Text("12x"), ErrorKind::kType},
      {col(ColumnType::kLong), Value::Text(""), ErrorKind::kType},
      {col(ColumnType::kLong), Value::Blob("1"), ErrorKind::kType},
      {col(ColumnType::kSingle), Value::Real(1e39), ErrorKind::kTooLarge},
      {col(ColumnType::kDouble), Value::Real(infinity), ErrorKind::kTooLarge},
      {col(ColumnType::kDateTime), Value::Real(3e6), ErrorKind::kTooLarge},
      {col(ColumnType::kDateTime), Value::Real(-657435), ErrorKind::kTooLarge},
      {col(ColumnType::kText), Value::Text("sixsix"), ErrorKind::kTooLarge},
      {col(ColumnType::kText), Value::Text("\xF0\x9F\x98\x80\xF0\x9F\x98\x80\xF0\x9F\x98\x80"),
       ErrorKind::kTooLarge},
      {no_empty, Value::Text(""), ErrorKind::kConstraint},
      {col(ColumnType::kCurrency), Value::Real(1e15), ErrorKind::kTooLarge},
      {decimal, Value::Integer(10000), ErrorKind::kTooLarge},
      {col(ColumnType::kGuid), Value::Text("{12}"), ErrorKind::kType},
  };
  for (const Bad& b : bad) {
    Value storage;
    std::string text;
    EXPECT_EQ(KindOfError([&] { ConvertToColumn(table, b.column, b.in, &storage); }, &text), b.kind)
        << DescribeValue(b.in);
    EXPECT_NE(text.find("\"" + b.column.name + "\""), std::string::npos) << text;
  }
}

TEST(ConvertTest, StoredFormsOfTheRarerTypes) {
  ColumnDef decimal = Column("d", ColumnType::kDecimal);
  decimal.precision = 28;
  decimal.scale = 3;
  struct Case {
    ColumnDef column;
    Value value;
    std::string hex;
  };
  const std::vector<Case> cases = {
      {Column("g", ColumnType::kGuid), Value::Text("{32A59F01-AA34-3E29-453F-4523453CD2E6}"),
       "019fa53234aa293e453f4523453cd2e6"},
      {decimal, Dec("-1.002"),
       "80"
       "00000000"
       "00000000"
       "00000000"
       "ea030000"},
      {decimal, Dec("18446744073709551.616"),
       "00"
       "00000000"
       "01000000"
       "00000000"
       "00000000"},
      {Column("m", ColumnType::kCurrency), Dec("-0.0001"), "ffffffffffffffff"},
      {Column("x", ColumnType::kDateTimeExtended), Value::Text("2020-02-29 23:59:58.1234567"), ""},
      {Column("x", ColumnType::kDateTimeExtended), Value::Text("0001-01-01 00:00:00.0000000"),
       Hex(AsBytes(std::string("0000000000000000000:0000000000000000000:7") + '\0'))},
      {Column("x", ColumnType::kDateTimeExtended), Value::Text("9999-12-31 00:00:00.0000000"), ""},
  };
  TestFile file;
  TableDef table;
  for (const Case& c : cases) {
    std::string raw;
    EncodeValue(file.context().format, table, c.column, c.value, &raw);
    if (!c.hex.empty()) {
      EXPECT_EQ(Hex(AsBytes(raw)), c.hex);
    }
    EXPECT_EQ(DecodeValue(file.context(), c.column, AsBytes(raw), RowView{}), c.value);
  }
  std::string raw;
  EXPECT_FALSE(ParseExtendedDate("2021-02-29 00:00:00", &raw));
}

}  // namespace
}  // namespace jet::testing
