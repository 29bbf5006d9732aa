// Key bytes of one column. All of it follows from entries that Access wrote, except Decimal, which no sample
// holds. Text: the inline bytes of all units, 01, then (only when there are any) accents, kana flags and the
// places of unprintable units, then 00.
#include "access/index/key.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>

#include "access/base/bytes.h"
#include "access/base/error.h"
#include "access/base/text.h"
#include "access/index/collation.h"

namespace jet {
namespace {

using internal::CollationTable;
using internal::Unit;
using internal::UnitClass;

// A key never looks further into a text than this, whatever its length: also two memos that differ only
// after it are equal to an index.
constexpr std::size_t kMaxUnits = 255;

template <std::size_t N>
struct SmallBytes {
  std::array<std::uint8_t, N> data;
  std::size_t size = 0;
  void Add(std::uint8_t byte) {
    if (size < N) data[size++] = byte;
  }
  void AddTo(std::string* key) const { key->append(reinterpret_cast<const char*>(data.data()), size); }
  bool empty() const { return size == 0; }
};

void AddByte(std::string* key, unsigned byte) { key->push_back(byte); }

void AddInline(const Unit& unit, std::string* key) {
  key->append(reinterpret_cast<const char*>(unit.inline_bytes.data()), unit.inline_size);
}

// The first kMaxUnits UTF-16 units of a UTF-8 text, without trailing blanks. Unpaired surrogates come as
// their own three bytes; any other malformed byte counts as U+FFFD.
struct Units {
  std::array<std::uint16_t, kMaxUnits + 1> data;
  std::size_t size = 0;

  explicit Units(std::string_view utf8) {
    for (std::size_t at = 0; at < utf8.size() && size < kMaxUnits;) {
      char32_t c = 0xFFFD;
      if (!ReadCodePoint(utf8, &at, &c)) ++at;
      if (c >= 0x10000) {
        data[size++] = HighSurrogate(c);
        c = LowSurrogate(c);
      }
      data[size++] = c;
    }
    size = std::min(size, kMaxUnits);
    while (size > 0 && data[size - 1] == ' ') --size;
  }
};

// Each half of a pair has two computed bytes; the gaps between the low halves are those of Access.
Unit SurrogateUnit(std::uint16_t c) {
  unsigned v;
  if (c < 0xDC00) {
    v = c - 10238u;
  } else {
    const unsigned o = c - 0xDC00u;
    v = c - (o < 8 ? 9992u : o < 262 ? 9990u : o < 516 ? 9988u : o < 770 ? 9986u : 9984u);
  }
  Unit unit;
  unit.unit_class = UnitClass::kAccented;
  unit.inline_size = 2;
  unit.inline_bytes[0] = v >> 8;
  unit.inline_bytes[1] = v;
  unit.extra_size = 1;
  unit.extra_bytes[0] = 0x3F;
  return unit;
}

// Collects what does not stand inline while the units go by.
class TextKeyBuilder {
 public:
  TextKeyBuilder(const CollationTable& table, std::string* key) : table_(table), key_(key) {}

  void Add(std::uint16_t c) {
    if (c >= 0xD800 && c < 0xE000) {
      Add(SurrogateUnit(c));
    } else {
      Add(table_[c]);
    }
  }

  void Finish() {
    AddByte(key_, 0x01);
    while (accent_.size > 0 && accent_.data[accent_.size - 1] <= 0x02) --accent_.size;
    accent_.AddTo(key_);
    if (!kana_.empty() || !unprintable_.empty()) key_->append("\x01\x01", 2);
    if (!kana_.empty()) {
      FinishKana();
      if (!unprintable_.empty()) AddByte(key_, 0xFF);
    }
    if (!unprintable_.empty()) {
      AddByte(key_, 0x01);
      unprintable_.AddTo(key_);
    }
    AddByte(key_, 0x00);
  }

 private:
  void Add(const Unit& unit) {
    const std::size_t position = inline_units_;
    switch (unit.unit_class) {
      case UnitClass::kIgnored:
        return;
      case UnitClass::kMark:
        PadAccents(position);
        if (!accent_.empty()) {
          std::uint8_t& last = accent_.data[accent_.size - 1];
          last = last + unit.extra_bytes[0];
        } else {
          accent_.Add(unit.extra_bytes[0]);
          lead_ = 1;
        }
        return;
      case UnitClass::kUnprintable: {
        const std::size_t place = accent_.empty() ? position : accent_.size + (position - covered_) - lead_;
        const unsigned code = 0x8000 | (7 + 4 * place);
        unprintable_.Add(code >> 8);
        unprintable_.Add(code);
        unprintable_.Add(0x06);
        for (int i = 0; i < unit.inline_size; ++i) {
          unprintable_.Add(unit.inline_bytes[i]);
        }
        return;
      }
      case UnitClass::kNormal:
      case UnitClass::kAccented:
      case UnitClass::kKana:
      case UnitClass::kPlaceholder:
        break;
    }
    AddInline(unit, key_);
    ++inline_units_;
    if (unit.extra_size > 0) {
      PadAccents(position);
      for (int i = 0; i < unit.extra_size; ++i) accent_.Add(unit.extra_bytes[i]);
      ++covered_;
    }
    if (unit.unit_class == UnitClass::kKana) kana_.Add(unit.kana_flag);
  }

  void PadAccents(std::size_t position) {
    for (; covered_ < position; ++covered_) accent_.Add(0x02);
  }

  void FinishKana() {
    while (kana_.size > 0 && kana_.data[kana_.size - 1] == 3) --kana_.size;
    for (std::size_t i = 0; i < kana_.size; i += 3) {
      unsigned packed = 0x80u | (kana_.data[i] << 4);
      if (i + 1 < kana_.size) packed |= kana_.data[i + 1] << 2;
      if (i + 2 < kana_.size) packed |= kana_.data[i + 2];
      AddByte(key_, packed);
    }
    key_->append("\xFF\x02\x80\xFF\x80", 5);
  }

  const CollationTable& table_;
  std::string* key_;
  std::size_t inline_units_ = 0;
  std::size_t covered_ = 0;  // units that accent_ accounts for
  std::size_t lead_ = 0;
  SmallBytes<4 * kMaxUnits> accent_;
  SmallBytes<kMaxUnits> kana_;
  SmallBytes<4 * kMaxUnits> unprintable_;
};

// Most texts of a notice database: printable ASCII without apostrophe and hyphen. False, with the key as it
// was, when the text is anything else.
bool AppendPlainText(const CollationTable& table, std::string_view text, std::string* key) {
  text = text.substr(0, kMaxUnits + 1);
  if (text.size() > kMaxUnits) return false;
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  const std::size_t before = key->size();
  for (char c : text) {
    const std::uint8_t byte = c;
    const Unit& unit = table[byte];
    if (byte >= 0x80 || unit.unit_class != UnitClass::kNormal) {
      key->resize(before);
      return false;
    }
    AddInline(unit, key);
  }
  key->append("\x01\x00", 2);
  return true;
}

// Jet 3: the inline bytes, then accents as half bytes (a 2 for each letter that could have one and has none).
void AppendText97(std::string_view utf8, std::string* key) {
  const CollationTable& table = CollationTable::Get(Collation::kGeneral97);
  const Units units(utf8);
  SmallBytes<2 * kMaxUnits + 2> nibbles;
  int placeholders = 0;
  for (std::size_t i = 0; i < units.size; ++i) {
    const int byte = ToWindows1252(units.data[i]);
    if (byte < 0) continue;
    const Unit& unit = table[byte];
    if (byte == 0) {
      AddByte(key, 0x10);  // as the other control characters; Access's own keys hold it
      continue;
    }
    AddInline(unit, key);
    if (byte == 0xDF) {
      placeholders += 2;  // the sharp s is two letters to Access
    } else if (unit.unit_class == UnitClass::kPlaceholder) {
      ++placeholders;
    } else if (unit.unit_class == UnitClass::kAccented) {
      if (nibbles.empty()) nibbles.Add(0);
      for (; placeholders > 0; --placeholders) nibbles.Add(2);
      nibbles.Add(unit.extra_bytes[0] & 0x0F);
    }
  }
  nibbles.Add(0);
  for (std::size_t i = 0; i < nibbles.size; i += 2) {
    const unsigned low = i + 1 < nibbles.size ? nibbles.data[i + 1] : 0u;
    AddByte(key, nibbles.data[i] << 4 | low);
  }
}

void Complement(std::string* key, std::size_t from) {
  for (std::size_t i = from; i < key->size(); ++i) (*key)[i] = ~(*key)[i];
}

// The lowest `bytes` bytes, the highest of them first.
void AddBigEndian(std::uint64_t value, int bytes, std::string* key) {
  std::array<std::uint8_t, 8> all;
  StoreBe32(all.data(), value >> 32);
  StoreBe32(all.data() + 4, value);
  key->append(reinterpret_cast<const char*>(all.data()) + 8 - bytes, bytes);
}

void AppendSigned(std::int64_t value, int bytes, std::string* key) {
  const auto flipped = static_cast<std::uint64_t>(value) ^ (std::uint64_t{1} << (8 * bytes - 1));
  AddBigEndian(flipped, bytes, key);
}

template <typename Number, typename Bits>
void AppendFloat(Number value, std::string* key) {
  Bits bits = std::bit_cast<Bits>(value);
  constexpr Bits kSign = Bits{1} << (8 * sizeof(Bits) - 1);
  bits = (bits & kSign) != 0 ? static_cast<Bits>(~bits) : static_cast<Bits>(bits ^ kSign);
  AddBigEndian(bits, sizeof(Bits), key);
}

// Groups of eight bytes, each followed by 09 when more come, else by the number of bytes that count.
void AppendGroups(std::string_view bytes, bool descending, std::string* key) {
  while (!bytes.empty()) {
    const std::size_t from = key->size();
    const std::size_t take = std::min<std::size_t>(8, bytes.size());
    key->append(bytes.substr(0, take));
    key->append(8 - take, '\0');
    bytes.remove_prefix(take);
    const bool more = !bytes.empty();
    if (!more) AddByte(key, take);
    if (descending) Complement(key, from);
    if (more) AddByte(key, 0x09);  // stays 09 in descending keys too: so Access writes it
  }
}

// "{00112233-4455-...}": the digits in the order of the text.
std::string GuidBytes(const std::string& text) {
  std::string bytes;
  int high = -1;
  for (char c : text) {
    int digit;
    if (c >= '0' && c <= '9') {
      digit = c - '0';
    } else if (c >= 'A' && c <= 'F') {
      digit = c - 'A' + 10;
    } else if (c >= 'a' && c <= 'f') {
      digit = c - 'a' + 10;
    } else {
      continue;
    }
    if (high < 0) {
      high = digit;
    } else {
      AddByte(&bytes, high << 4 | digit);
      high = -1;
    }
  }
  bytes.resize(16);
  return bytes;
}

// magnitude times ten to the `steps`-th; bits past 128 are lost, which a value of a valid column never has.
void AppendMagnitude(const Decimal& value, std::uint8_t scale, std::string* key) {
  std::uint32_t words[4] = {static_cast<std::uint32_t>(value.low),
                            static_cast<std::uint32_t>(value.low >> 32), value.high, 0};
  for (int step = value.scale; step < scale; ++step) {
    std::uint64_t carry = 0;
    for (std::uint32_t& word : words) {
      const std::uint64_t product = std::uint64_t{word} * 10 + carry;
      word = product;
      carry = product >> 32;
    }
  }
  for (int step = value.scale; step > scale; --step) {
    std::uint64_t rest = 0;
    for (int i = 3; i >= 0; --i) {
      const std::uint64_t part = rest << 32 | words[i];
      words[i] = part / 10;
      rest = part % 10;
    }
  }
  for (int i = 3; i >= 0; --i) {
    std::uint8_t bytes[4];
    StoreBe32(bytes, words[i]);
    key->append(reinterpret_cast<const char*>(bytes), 4);
  }
}

void AppendDecimal(const KeyColumn& column, const Decimal& value, std::string* key) {
  const std::size_t from = key->size();
  if (!column.jet4_decimal) {
    AddByte(key, 0xFF);
    AppendMagnitude(value, column.decimal_scale, key);
    if (value.negative != column.descending) Complement(key, from);
    return;
  }
  AddByte(key, value.negative ? 0x80 : 0x00);
  AppendMagnitude(value, column.decimal_scale, key);
  if (value.negative != column.descending) Complement(key, from);
  // The sign is set after complementing, so descending Jet 4 decimals do not sort; files hold them like this,
  // and an entry is only found when it is built the same way.
  (*key)[from] = value.negative ? 0x00 : 0xFF;
}

// A currency is a count of ten-thousandths.
void AppendCurrency(const Decimal& value, std::string* key) {
  std::string magnitude;
  AppendMagnitude(value, 4, &magnitude);
  std::uint64_t units = 0;
  for (const char byte : magnitude.substr(8)) units = units << 8 | static_cast<std::uint8_t>(byte);
  AppendSigned(value.negative ? 0 - units : units, 8, key);
}

void AppendText(const KeyColumn& column, const std::string& text, std::string* key) {
  const std::size_t from = key->size();
  AppendTextKey(column.collation, text, key);
  if (!column.descending) return;
  Complement(key, from);
  if (column.collation != Collation::kGeneral97) AddByte(key, 0x00);
}

}  // namespace

bool IsKeySupported(const KeyColumn& column) {
  if (column.type == ColumnType::kText || column.type == ColumnType::kMemo) {
    return column.collation != Collation::kUnsupported;
  }
  // Not OLE values, nor those of types that nobody knows.
  return KindOf(column.type) != ValueKind::kBlob || column.type == ColumnType::kBinary;
}

void AppendTextKey(Collation collation, std::string_view utf8, std::string* key) {
  if (collation == Collation::kUnsupported) {
    throw Error(ErrorKind::kNotSupported, "The sort order of a text index is not supported.");
  }
  if (collation == Collation::kGeneral97) {
    AppendText97(utf8, key);
    return;
  }
  const CollationTable& table = CollationTable::Get(collation);
  if (AppendPlainText(table, utf8, key)) return;
  const Units units(utf8);
  TextKeyBuilder builder(table, key);
  for (std::size_t i = 0; i < units.size; ++i) builder.Add(units.data[i]);
  builder.Finish();
}

void AppendKey(const KeyColumn& column, const Value& value, std::string* key) {
  if (!IsKeySupported(column)) {
    throw Error(ErrorKind::kNotSupported,
                "An index on a column of this type or sort order is not supported.");
  }
  const bool descending = column.descending;
  if (value.is_null() && column.type != ColumnType::kBoolean) {
    AddByte(key, descending ? 0xFF : 0x00);
    return;
  }
  AddByte(key, descending ? 0x80 : 0x7F);
  const std::size_t from = key->size();
  switch (column.type) {
    case ColumnType::kBoolean:
      AddByte(key, value.integer() != 0 ? 0x00 : 0xFF);
      break;
    case ColumnType::kByte:
      AddByte(key, value.integer() & 0xFF);
      break;
    case ColumnType::kInteger:
      AppendSigned(value.integer(), 2, key);
      break;
    case ColumnType::kLong:
    case ColumnType::kComplex:
      AppendSigned(value.integer(), 4, key);
      break;
    case ColumnType::kBigInt:
      AppendSigned(value.integer(), 8, key);
      break;
    case ColumnType::kCurrency:
      AppendCurrency(value.decimal(), key);
      break;
    case ColumnType::kSingle:
      AppendFloat<float, std::uint32_t>(value.real(), key);
      break;
    case ColumnType::kDouble:
    case ColumnType::kDateTime:
      AppendFloat<double, std::uint64_t>(value.real(), key);
      break;
    case ColumnType::kBinary:
      AppendGroups(value.bytes(), descending, key);
      return;
    case ColumnType::kGuid:
      AppendGroups(GuidBytes(value.bytes()), descending, key);
      return;
    case ColumnType::kDateTimeExtended: {
      std::string bytes = value.bytes();
      bytes.resize(42);
      AppendGroups(bytes, descending, key);
      return;
    }
    case ColumnType::kDecimal:
      AppendDecimal(column, value.decimal(), key);
      return;
    case ColumnType::kText:
    case ColumnType::kMemo:
      AppendText(column, value.bytes(), key);
      return;
    case ColumnType::kOle:
      break;
  }
  if (descending) Complement(key, from);
}

}  // namespace jet
