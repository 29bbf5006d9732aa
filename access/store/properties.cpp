#include "access/store/properties.h"

#include "access/store/names.h"

namespace jet {
namespace {

constexpr std::uint16_t kNames = 0x80;
constexpr std::uint16_t kObject = 0x00;
constexpr std::uint16_t kColumn = 0x01;
constexpr std::size_t kMagicBytes = 4;
constexpr std::size_t kChunkHeaderBytes = 6;
constexpr std::size_t kValueHeaderBytes = 8;

Bytes AsBytes(const std::string& s) { return {reinterpret_cast<const std::uint8_t*>(s.data()), s.size()}; }
std::string AsString(Bytes b) { return {reinterpret_cast<const char*>(b.data()), b.size()}; }

[[noreturn]] void Damaged() {
  ThrowCorrupt("the properties of a table contradict themselves", Error::kNoPlace);
}

void AppendU16(std::size_t v, std::string* out) {
  out->push_back(v & 0xFF);
  out->push_back(v >> 8);
}
void AppendU32(std::size_t v, std::string* out) {
  AppendU16(v & 0xFFFF, out);
  AppendU16(v >> 16, out);
}

std::vector<std::string> ParseNames(Bytes chunk, const FormatInfo& format) {
  const ByteReader in(chunk);
  std::vector<std::string> names;
  for (std::size_t at = 0; at < chunk.size();) {
    const std::size_t length = in.U16(at);
    names.push_back(DecodeName(in.Slice(at + 2, length), format));
    at += 2 + length;
  }
  return names;
}

PropertyChunk ParseChunk(Bytes chunk, const std::vector<std::string>& names, const FormatInfo& format) {
  const ByteReader in(chunk);
  PropertyChunk out;
  const std::size_t header = in.U32(0);
  if (header < 6 || header > chunk.size()) Damaged();
  const std::size_t name_length = in.U16(4);
  if (name_length > header - 6) Damaged();
  out.owner = DecodeName(in.Slice(6, name_length), format);
  for (std::size_t at = header; at < chunk.size();) {
    const std::size_t length = in.U16(at);
    const std::size_t name = in.U16(at + 4);
    const std::size_t n = in.U16(at + 6);
    if (length != kValueHeaderBytes + n || name >= names.size()) Damaged();
    out.properties.push_back({names[name], in.U8(at + 3), AsString(in.Slice(at + kValueHeaderBytes, n))});
    at += length;
  }
  return out;
}

// One chunk of the blob: its place, kind and content.
struct ChunkSpan {
  std::size_t begin = 0, end = 0;
  std::uint16_t kind = 0;
  Bytes content;
};

std::vector<ChunkSpan> FindChunks(const std::string& blob, const FormatInfo& format) {
  std::vector<ChunkSpan> chunks;
  if (blob.empty()) return chunks;
  const ByteReader in(AsBytes(blob));
  if (AsString(in.Slice(0, kMagicBytes)) != std::string_view(format.jet3 ? "KKD\0" : "MR2\0", kMagicBytes))
    Damaged();
  for (std::size_t at = kMagicBytes; at < blob.size();) {
    const std::size_t length = in.U32(at);
    if (length < kChunkHeaderBytes) Damaged();
    chunks.push_back(
        {at, at + length, in.U16(at + 4), in.Slice(at + kChunkHeaderBytes, length - kChunkHeaderBytes)});
    at += length;
  }
  return chunks;
}

}  // namespace

std::vector<PropertyChunk> ParseProperties(const std::string& blob, const FormatInfo& format) {
  std::vector<std::string> names;
  std::vector<PropertyChunk> out;
  for (const ChunkSpan& chunk : FindChunks(blob, format)) {
    if (chunk.kind == kNames) {
      names = ParseNames(chunk.content, format);
    } else if (chunk.kind == kObject || chunk.kind == kColumn) {
      out.push_back(ParseChunk(chunk.content, names, format));
      if (chunk.kind == kObject) out.back().owner.clear();
    }
    // Other kinds were never seen; what they mean cannot matter to a row.
  }
  return out;
}

void ApplyProperties(const std::string& blob, const FormatInfo& format, TableDef* def) {
  for (const PropertyChunk& chunk : ParseProperties(blob, format)) {
    if (chunk.owner.empty()) continue;
    // Chunks of columns that were renamed or dropped since may linger.
    const int at = def->FindColumn(chunk.owner);
    if (at < 0) continue;
    ColumnDef& column = def->columns[at];
    for (const Property& p : chunk.properties) {
      const bool is_true = !p.bytes.empty() && p.bytes[0] != 0;
      if (SameName(p.name, "Required")) column.required = is_true;
      if (SameName(p.name, "AllowZeroLength")) column.allow_zero_length = is_true;
      if (column.calculated && SameName(p.name, "ResultType") && p.bytes.size() == 1) {
        const auto type = static_cast<ColumnType>(p.bytes[0]);
        if (IsKnownType(type)) column.type = type;
      }
      if (SameName(p.name, "DefaultValue")) column.default_value = DecodeName(AsBytes(p.bytes), format);
    }
  }
}

std::string AddColumnProperties(const std::string& blob, const NewColumn& column) {
  if (!column.required && column.default_value.empty()) return blob;
  const FormatInfo& format = GetFormatInfo(Format::kJet4);  // all later versions write the same
  std::string out = blob.empty() ? std::string("MR2\0", kMagicBytes) : blob;

  // Access keeps one list of names, at the beginning: names are added behind the old ones, whose positions
  // stay.
  std::vector<std::string> names;
  std::size_t list_begin = kMagicBytes, list_end = kMagicBytes;
  for (const ChunkSpan& chunk : FindChunks(out, format)) {
    if (chunk.kind != kNames) continue;
    names = ParseNames(chunk.content, format);
    list_begin = chunk.begin;
    list_end = chunk.end;
    break;
  }
  const auto name_position = [&names](std::string_view name) {
    std::size_t i = 0;
    while (i < names.size() && !SameName(names[i], name)) ++i;
    if (i == names.size()) names.emplace_back(name);
    return i;
  };

  std::string values;
  const auto add_value = [&](std::string_view name, ColumnType type, const std::string& bytes) {
    AppendU16(kValueHeaderBytes + bytes.size(), &values);
    values.push_back(0);
    values.push_back(static_cast<char>(type));
    AppendU16(name_position(name), &values);
    AppendU16(bytes.size(), &values);
    values += bytes;
  };
  if (column.required) add_value("Required", ColumnType::kBoolean, std::string(1, '\x01'));
  if (!column.default_value.empty()) {
    const std::string expression = EncodeName(column.default_value);
    // The lengths have 16 bits; no expression of Access is near that.
    if (expression.size() > 4096)
      throw Error(ErrorKind::kTooLarge, "The default value is longer than 2048 characters.");
    add_value("DefaultValue", ColumnType::kMemo, expression);
  }

  std::string list;
  for (const std::string& name : names) {
    const std::string stored = EncodeName(name);
    AppendU16(stored.size(), &list);
    list += stored;
  }
  std::string list_chunk;
  AppendU32(kChunkHeaderBytes + list.size(), &list_chunk);
  AppendU16(kNames, &list_chunk);
  out.replace(list_begin, list_end - list_begin, list_chunk + list);

  const std::string owner = EncodeName(column.name);
  AppendU32(kChunkHeaderBytes + 6 + owner.size() + values.size(), &out);
  AppendU16(kColumn, &out);
  AppendU32(6 + owner.size(), &out);
  AppendU16(owner.size(), &out);
  return out + owner + values;
}

}  // namespace jet
