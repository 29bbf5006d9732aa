#include "access/store/text_codec.h"

#include "access/base/text.h"

namespace jet {
namespace {

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
  // ASCII up to the first byte that is something else: mostly all of it.
  std::size_t i = 2;
  while (i < raw.size() && raw[i] != 0 && raw[i] < 0x80) ++i;
  utf8->append(reinterpret_cast<const char*>(raw.data()) + 2, i - 2);
  if (i == raw.size()) return true;
  Utf8Writer writer(utf8);
  bool compressed = true;
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

void PutUnit(std::uint32_t unit, std::string* raw) {
  raw->push_back(unit);
  raw->push_back(unit >> 8);
}

}  // namespace

bool DecodeText(Bytes raw, bool unicode, std::uint16_t code_page, std::string* utf8) {
  if (!unicode) {
    for (const std::uint8_t c : raw) {
      AppendCodePoint(code_page == 1252 ? FromWindows1252(c) : c, utf8);
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
    (*utf8)[start + i] = unit;
  }
  if (i == units) return true;
  utf8->resize(start + i);
  Utf8Writer writer(utf8);
  for (; i < units; ++i) writer.Put(LoadLe<std::uint16_t>(raw.data() + 2 * i));
  return true;
}

bool EncodeText(std::string_view utf8, bool compress, std::size_t max_compressed, std::string* raw) {
  const std::size_t start = raw->size();
  if (compress && utf8.size() >= 3 && utf8.size() <= max_compressed && IsAscii(utf8) &&
      utf8.find('\0') == std::string_view::npos) {
    raw->append("\xFF\xFE", 2).append(utf8);
    return true;
  }
  bool compressible = compress;
  std::size_t units = 0;
  for (std::size_t at = 0; at < utf8.size();) {
    char32_t c = 0;
    if (!ReadCodePoint(utf8, &at, &c)) {
      raw->resize(start);
      return false;
    }
    compressible = compressible && c != 0 && c < 0x100;
    if (c >= 0x10000) {
      PutUnit(HighSurrogate(c), raw);
      c = LowSurrogate(c);
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
