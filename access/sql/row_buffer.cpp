#include "access/sql/row_buffer.h"

#include <algorithm>
#include <cstring>

#include "access/base/bytes.h"

namespace jet::sql {
namespace {

constexpr std::size_t kChunk = 1u << 20;

template <typename T>
void Put(std::string* out, T v) {
  out->append(reinterpret_cast<const char*>(&v), sizeof v);
}

template <typename T>
T Get(const char** p) {
  T v;
  std::memcpy(&v, *p, sizeof v);
  *p += sizeof v;
  return v;
}

void PutValue(std::string* out, const Value& v) {
  out->push_back(static_cast<char>(v.kind()));
  switch (v.kind()) {
    case ValueKind::kNull:
      break;
    case ValueKind::kInteger:
      Put(out, v.integer());
      break;
    case ValueKind::kReal:
      Put(out, v.real());
      break;
    case ValueKind::kDecimal:
      Put(out, v.decimal().low);
      Put(out, v.decimal().high);
      Put(out, v.decimal().scale);
      Put(out, v.decimal().negative);
      break;
    case ValueKind::kText:
    case ValueKind::kBlob:
      Put<std::uint32_t>(out, v.bytes().size());
      out->append(v.bytes());
      break;
  }
}

Value GetValue(const char** p) {
  const auto kind = static_cast<ValueKind>(*(*p)++);
  switch (kind) {
    case ValueKind::kNull:
      break;
    case ValueKind::kInteger:
      return Value::Integer(Get<std::int64_t>(p));
    case ValueKind::kReal:
      return Value::Real(Get<double>(p));
    case ValueKind::kDecimal: {
      Decimal d;
      d.low = Get<std::uint64_t>(p);
      d.high = Get<std::uint32_t>(p);
      d.scale = Get<std::uint8_t>(p);
      d.negative = Get<bool>(p);
      return Value::Dec(d);
    }
    case ValueKind::kText:
    case ValueKind::kBlob: {
      const auto n = Get<std::uint32_t>(p);
      std::string bytes(*p, n);
      *p += n;
      return kind == ValueKind::kText ? Value::Text(std::move(bytes)) : Value::Blob(std::move(bytes));
    }
  }
  return Value::Null();
}

}  // namespace

void RowBuffer::Append(const std::vector<std::uint32_t>& ids, const std::vector<Value>& values) {
  const std::size_t start = memory_.size();
  Put(&memory_, std::uint32_t{0});
  for (const std::uint32_t id : ids) Put(&memory_, id);
  for (const Value& v : values) PutValue(&memory_, v);
  const std::uint32_t length = memory_.size() - start - 4;
  std::memcpy(memory_.data() + start, &length, 4);
  if (memory_.size() < limit_) return;
  if (!file_) file_ = PlatformFileSystem().OpenTemporary();
  file_->Write(file_size_, Bytes(reinterpret_cast<const std::uint8_t*>(memory_.data()), memory_.size()));
  file_size_ += memory_.size();
  memory_.clear();
}

// Brings at least `wanted` unread bytes into the chunk; false at the end.
bool RowBuffer::Fill(std::size_t wanted) {
  while (chunk_.size() - position_ < wanted) {
    if (file_position_ < file_size_) {
      chunk_.erase(0, position_);
      position_ = 0;
      const std::size_t have = chunk_.size();
      const std::size_t n = std::min<std::uint64_t>(file_size_ - file_position_, std::max(kChunk, wanted));
      chunk_.resize(have + n);
      file_->Read(file_position_, MutableBytes(reinterpret_cast<std::uint8_t*>(chunk_.data()) + have, n));
      file_position_ += n;
    } else if (!memory_taken_) {
      memory_taken_ = true;
      chunk_.erase(0, position_);
      position_ = 0;
      if (chunk_.empty()) {
        chunk_ = std::move(memory_);
      } else {
        chunk_ += memory_;
      }
      memory_.clear();
    } else {
      return false;
    }
  }
  return true;
}

bool RowBuffer::Next(std::vector<std::uint32_t>* ids, std::vector<Value>* values) {
  if (!Fill(4)) return false;
  std::uint32_t length;
  std::memcpy(&length, chunk_.data() + position_, 4);
  if (!Fill(4 + std::size_t{length})) return false;
  const char* p = chunk_.data() + position_ + 4;
  for (std::uint32_t& id : *ids) id = Get<std::uint32_t>(&p);
  for (Value& v : *values) v = GetValue(&p);
  position_ += 4 + length;
  return true;
}

}  // namespace jet::sql
