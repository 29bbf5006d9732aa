#include "access/file/overlay.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

namespace jet {
namespace {

constexpr std::uint64_t kChunk = 4096;

// Changed chunks in the order of their first change: in memory while there is room, then in a file.
class Chunks {
 public:
  // `room` is what all files of an overlay have together.
  Chunks(FileSystem& base, std::size_t& room) : base_(base), room_(room) {}
  ~Chunks() { room_ += in_memory_.size() * kChunk; }
  Chunks(const Chunks&) = delete;
  Chunks& operator=(const Chunks&) = delete;

  std::uint64_t size() const { return in_memory_.size() + in_file_; }
  void Read(std::uint64_t place, std::uint64_t from, MutableBytes out) {
    if (place < in_memory_.size()) {
      std::memcpy(out.data(), in_memory_[place].get() + from, out.size());
    } else {
      file_->Read((place - in_memory_.size()) * kChunk + from, out);
    }
  }
  void Write(std::uint64_t place, std::uint64_t from, Bytes data) {
    if (place < in_memory_.size()) {
      std::memcpy(in_memory_[place].get() + from, data.data(), data.size());
    } else {
      file_->Write((place - in_memory_.size()) * kChunk + from, data);
    }
  }
  // A whole chunk, behind all others.
  void Add(Bytes chunk) {
    if (file_ == nullptr && room_ >= kChunk) {
      in_memory_.push_back(std::make_unique<std::uint8_t[]>(kChunk));
      room_ -= kChunk;
      std::memcpy(in_memory_.back().get(), chunk.data(), kChunk);
      return;
    }
    if (file_ == nullptr) file_ = base_.OpenTemporary();
    file_->Write(in_file_ * kChunk, chunk);
    ++in_file_;
  }

 private:
  FileSystem& base_;
  std::size_t& room_;
  std::vector<std::unique_ptr<std::uint8_t[]>> in_memory_;
  std::unique_ptr<File> file_;
  std::uint64_t in_file_ = 0;
};

// A file: the original, and the chunks of it that were changed. A chunk that is only partly written is
// completed from the original first. Bytes past the end of the original are zeros, and so are bytes past the
// smallest size that the file had since.
struct Node {
  Node(FileSystem& base, std::size_t& room) : changes(base, room) {}

  std::unique_ptr<File> original;   // null: the file is the overlay's own
  std::uint64_t original_size = 0;  // bytes of it that still show
  std::uint64_t size = 0;
  std::unordered_map<std::uint64_t, std::uint64_t> chunks;  // chunk -> place in `changes`
  Chunks changes;
  int readers = 0;
  bool writer = false;
  std::uint64_t number = 0;

  // The part of a chunk from `from` on, which must not reach beyond the chunk.
  void ReadPart(std::uint64_t offset, MutableBytes out) {
    if (const auto it = chunks.find(offset / kChunk); it != chunks.end()) {
      changes.Read(it->second, offset % kChunk, out);
      return;
    }
    const std::size_t shown =
        offset < original_size
            ? static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), original_size - offset))
            : 0;
    if (shown != 0) original->Read(offset, out.first(shown));
    std::fill(out.begin() + shown, out.end(), std::uint8_t{0});
  }

  void WritePart(std::uint64_t offset, Bytes data) {
    const std::uint64_t chunk = offset / kChunk;
    if (const auto it = chunks.find(chunk); it != chunks.end()) {
      changes.Write(it->second, offset % kChunk, data);
      return;
    }
    std::uint8_t whole[kChunk];
    ReadPart(chunk * kChunk, whole);
    std::memcpy(whole + offset % kChunk, data.data(), data.size());
    chunks.emplace(chunk, changes.size());
    changes.Add(whole);
  }

  void Truncate(std::uint64_t new_size) {
    if (new_size < size) {
      // What lies past the new end has to read as zeros if the file grows again.
      original_size = std::min(original_size, new_size);
      const std::uint8_t zeros[kChunk] = {};
      for (const auto& [chunk, place] : chunks) {
        const std::uint64_t begin = std::max(chunk * kChunk, new_size);
        const std::uint64_t end = std::min((chunk + 1) * kChunk, size);
        if (begin < end) WritePart(begin, Bytes(zeros, end - begin));
      }
    }
    size = new_size;
  }
};

class OverlayFile : public File {
 public:
  OverlayFile(std::shared_ptr<Node> node, std::string path, bool write)
      : node_(std::move(node)), path_(std::move(path)), write_(write) {
    if (write_) {
      node_->writer = true;
    } else {
      ++node_->readers;
    }
  }
  ~OverlayFile() override {
    if (write_) {
      node_->writer = false;
    } else {
      --node_->readers;
    }
  }

  const std::string& path() const override { return path_; }
  void Read(std::uint64_t offset, MutableBytes out) override {
    if (offset > node_->size || node_->size - offset < out.size()) {
      throw Error(ErrorKind::kCorrupt,
                  fmt::format("The file {} ends before byte {}.", path_, offset + out.size()));
    }
    if (node_->chunks.empty() && offset + out.size() <= node_->original_size) {
      node_->original->Read(offset, out);
      return;
    }
    ForEachPart(offset, out.size(), [&](std::uint64_t at, std::size_t from, std::size_t count) {
      node_->ReadPart(at, out.subspan(from, count));
    });
  }
  void Write(std::uint64_t offset, Bytes data) override {
    RequireWrite();
    ForEachPart(offset, data.size(), [&](std::uint64_t at, std::size_t from, std::size_t count) {
      node_->WritePart(at, data.subspan(from, count));
    });
    node_->size = std::max<std::uint64_t>(node_->size, offset + data.size());
  }
  void Sync() override {}
  void SyncAll() override {}
  FileStamp Stamp() override {
    return {fmt::format("overlay:{}", node_->number), node_->size,
            node_->original == nullptr ? 0 : node_->original->Stamp().modified};
  }
  bool IsInPlace() override { return true; }
  bool LockContent(bool) override { return node_->readers == 0; }
  void ShareContent() override {}
  bool HasWriter() override { return node_->writer; }
  std::uint64_t Size() override { return node_->size; }
  void Truncate(std::uint64_t size) override {
    RequireWrite();
    node_->Truncate(size);
  }

 private:
  template <typename Visit>
  static void ForEachPart(std::uint64_t offset, std::size_t bytes, Visit visit) {
    for (std::size_t done = 0; done < bytes;) {
      const std::uint64_t at = offset + done;
      const std::size_t count = std::min<std::uint64_t>(kChunk - at % kChunk, bytes - done);
      visit(at, done, count);
      done += count;
    }
  }
  void RequireWrite() const {
    if (!write_)
      throw Error(ErrorKind::kReadOnly, fmt::format("The file {} is open for reading only.", path_));
  }

  std::shared_ptr<Node> node_;
  std::string path_;
  bool write_;
};

class Overlay : public FileSystem {
 public:
  Overlay(FileSystem& base, std::size_t memory) : base_(base), room_(memory) {}

  std::unique_ptr<File> Open(const std::string& path, OpenMode mode) override {
    const std::string key = Key(path);
    if (mode == OpenMode::kCreateNew) {
      if (Exists(path)) throw Error(ErrorKind::kExists, fmt::format("The file {} exists already.", path));
      nodes_[key] = NewNode();
    } else if (!Exists(path)) {
      throw Error(ErrorKind::kNotFound, fmt::format("The file {} does not exist.", path));
    }
    const std::shared_ptr<Node> node = FindNode(path);
    const bool write = mode != OpenMode::kRead;
    if (write && node->writer) {
      throw Error(ErrorKind::kLocked, fmt::format("The file {} is in use already.", path));
    }
    // What another program is writing to is not in one state.
    if (write && node->original != nullptr && node->original->HasWriter()) {
      throw Error(ErrorKind::kLocked, fmt::format("The file {} is in use by another program.", path));
    }
    return std::make_unique<OverlayFile>(node, path, write);
  }

  std::unique_ptr<File> OpenCompanion(const std::string& path, OpenMode mode, File&) override {
    return Open(path, mode);
  }
  void CreateWhole(const std::string& path, Bytes content) override {
    Open(path, OpenMode::kCreateNew)->Write(0, content);
  }
  std::string WhyNotCreate(const std::string&) override { return {}; }
  std::uint64_t LinkCount(const std::string&) override { return 1; }

  bool Exists(const std::string& path) override {
    const auto it = nodes_.find(Key(path));
    return it != nodes_.end() ? it->second != nullptr : base_.Exists(path);
  }
  void Remove(const std::string& path) override {
    FindNode(path);
    nodes_[Key(path)] = nullptr;
  }
  void Rename(const std::string& from, const std::string& to) override {
    std::shared_ptr<Node> node = FindNode(from);
    nodes_[Key(from)] = nullptr;
    nodes_[Key(to)] = std::move(node);
  }
  void SyncFolder(const std::string&) override {}
  std::unique_ptr<File> OpenTemporary() override { return base_.OpenTemporary(); }
  std::string Identity(const std::string& path) override {
    return fmt::format("overlay:{}", FindNode(path)->number);
  }
  std::string ResolveLinks(const std::string& path) override { return base_.ResolveLinks(path); }
  std::string AccessUsers(const std::string& database_path) override {
    return base_.AccessUsers(database_path);
  }

 private:
  // Two paths to one original are one file here too.
  std::string Key(const std::string& path) {
    return base_.Exists(path) ? base_.Identity(path) : "new:" + path;
  }

  std::shared_ptr<Node> NewNode() {
    auto node = std::make_shared<Node>(base_, room_);
    node->number = ++last_number_;
    return node;
  }

  // The node of an existing file, made when it is not known yet.
  std::shared_ptr<Node> FindNode(const std::string& path) {
    const std::string key = Key(path);
    if (const auto it = nodes_.find(key); it != nodes_.end()) {
      if (it->second == nullptr)
        throw Error(ErrorKind::kNotFound, fmt::format("The file {} does not exist.", path));
      return it->second;
    }
    std::shared_ptr<Node> node = NewNode();
    node->original = base_.Open(path, OpenMode::kRead);
    node->original_size = node->size = node->original->Size();
    nodes_[key] = node;
    return node;
  }

  FileSystem& base_;
  std::size_t room_;                                    // bytes; outlives the nodes
  std::map<std::string, std::shared_ptr<Node>> nodes_;  // null: removed
  std::uint64_t last_number_ = 0;
};

}  // namespace

std::unique_ptr<FileSystem> MakeOverlay(FileSystem& base, std::size_t memory) {
  return std::make_unique<Overlay>(base, memory);
}

}  // namespace jet
