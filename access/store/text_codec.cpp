#include "access/store/text_codec.h"

namespace jet {
namespace {

// 0x80..0x9F of code page 1252; the five bytes it leaves open stand for themselves.
constexpr char16_t kCp1252[32] = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                  0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                  0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                  0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

void AppendCodePoint(std::uint32_t c, std::string* out) {
  if (c < 0x80) {
    out->push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    out->push_back(static_cast<char>(0xC0 | c >> 6));
    out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else if (c < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | c >> 12));
    out->push_back(static_cast<char>(0x80 | (c >> 6 & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | c >> 18));
    out->push_back(static_cast<char>(0x80 | (c >> 12 & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (c >> 6 & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

// Joins surrogate pairs on the way; a unit that pairs with nothing passes as it is.
class Utf8Writer {
 public:
  explicit Utf8Writer(std::string* out) : out_(out) {}
  ~Utf8Writer() { Flush(); }
  Utf8Writer(const Utf8Writer&) = delete;
  Utf8Writer& operator=(const Utf8Writer&) = delete;

  void Put(std::uint32_t unit) {
    if (high_ != 0 && (unit & 0xFC00) == 0xDC00) {
      AppendCodePoint(0x10000 + ((high_ & 0x3FF) << 10) + (unit & 0x3FF), out_);
      high_ = 0;
      return;
    }
    Flush();
    if ((unit & 0xFC00) == 0xD800) {
      high_ = unit;
    } else {
      AppendCodePoint(unit, out_);
    }
  }
  void Flush() {
    if (high_ != 0) AppendCodePoint(high_, out_);
    high_ = 0;
  }

 private:
  std::string* out_;
  std::uint32_t high_ = 0;
};

bool DecodeCompressed(Bytes raw, std::string* utf8) {
  Utf8Writer writer(utf8);
  bool compressed = true;
  std::size_t i = 2;
  while (i < raw.size()) {
    if (raw[i] == 0) {
      compressed = !compressed;
      ++i;
    } else if (compressed) {
      writer.Put(raw[i++]);
    } else {
      if (raw.size() - i < 2) return false;
      writer.Put(LoadLe<std::uint16_t>(raw.data() + i));
      i += 2;
    }
  }
  return true;
}

// Reads one code point (an unpaired surrogate in three bytes included); false when the bytes are no UTF-8.
bool NextCodePoint(std::string_view text, std::size_t* at, std::uint32_t* code) {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  const std::uint8_t lead = byte(*at);
  if (lead < 0x80) {
    *code = lead;
    ++*at;
    return true;
  }
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() - *at < length) return false;
  std::uint32_t c = lead & (0xFF >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(*at + i) & 0xC0) != 0x80) return false;
    c = c << 6 | (byte(*at + i) & 0x3F);
  }
  if ((length == 3 && c < 0x800) || (length == 4 && (c < 0x10000 || c > 0x10FFFF))) return false;
  *at += length;
  *code = c;
  return true;
}

void PutUnit(std::uint32_t unit, std::string* raw) {
  raw->push_back(static_cast<char>(unit));
  raw->push_back(static_cast<char>(unit >> 8));
}

}  // namespace

bool DecodeText(Bytes raw, bool unicode, std::uint16_t code_page, std::string* utf8) {
  if (!unicode) {
    for (const std::uint8_t c : raw) {
      AppendCodePoint(c >= 0x80 && c < 0xA0 && code_page == 1252 ? kCp1252[c - 0x80] : c, utf8);
    }
    return true;
  }
  if (raw.size() >= 2 && raw[0] == 0xFF && raw[1] == 0xFE) return DecodeCompressed(raw, utf8);
  if (raw.size() % 2 != 0) return false;
  const std::size_t units = raw.size() / 2;
  const std::size_t start = utf8->size();
  utf8->resize(start + units);
  std::size_t i = 0;
  for (; i < units; ++i) {
    const auto unit = LoadLe<std::uint16_t>(raw.data() + 2 * i);
    if (unit >= 0x80) break;
    (*utf8)[start + i] = static_cast<char>(unit);
  }
  utf8->resize(start + i);
  Utf8Writer writer(utf8);
  for (; i < units; ++i) writer.Put(LoadLe<std::uint16_t>(raw.data() + 2 * i));
  return true;
}

std::size_t CountUnits(std::string_view utf8) {
  std::size_t units = 0;
  for (const char c : utf8) {
    const auto byte = static_cast<std::uint8_t>(c);
    if ((byte & 0xC0) != 0x80) units += byte >= 0xF0 ? 2 : 1;
  }
  return units;
}

bool EncodeText(std::string_view utf8, bool compress, std::size_t max_compressed, std::string* raw) {
  const std::size_t start = raw->size();
  bool compressible = compress;
  std::size_t units = 0;
  for (std::size_t at = 0; at < utf8.size();) {
    std::uint32_t c = 0;
    if (!NextCodePoint(utf8, &at, &c)) {
      raw->resize(start);
      return false;
    }
    compressible = compressible && c != 0 && c < 0x100;
    if (c >= 0x10000) {
      PutUnit(0xD800 + ((c - 0x10000) >> 10), raw);
      c = 0xDC00 + ((c - 0x10000) & 0x3FF);
      ++units;
    }
    PutUnit(c, raw);
    ++units;
  }
  std::uint8_t* bytes = reinterpret_cast<std::uint8_t*>(raw->data()) + start;
  if (compressible && units >= 3 && units <= max_compressed) {
    // In place: unit i stands at 2i and goes to 2 + i. The first two are taken before they are overwritten.
    const std::uint8_t first = bytes[0], second = bytes[2];
    std::uint8_t third = bytes[4];
    bytes[0] = 0xFF;
    bytes[1] = 0xFE;
    bytes[2] = first;
    bytes[3] = second;
    bytes[4] = third;
    for (std::size_t i = 3; i < units; ++i) bytes[2 + i] = bytes[2 * i];
    raw->resize(start + 2 + units);
    return true;
  }
  if (units > 0 && bytes[0] == 0xFF && bytes[1] == 0xFE) {
    raw->resize(start);
    return false;
  }
  return true;
}

}  // namespace jet
