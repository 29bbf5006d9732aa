// A node is the content of a file; names are kept apart from it, as on a real disk: a file's bytes are made
// durable by File::Sync, its name by SyncFolder. Beside the current content and names stand the durable ones
// and, in order, what has been done since.
#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include "access/file/test_files.h"

namespace jet {
namespace {

constexpr std::size_t kSector = 512;

struct Change {
  bool truncate = false;
  std::uint64_t offset = 0;  // or the new size
  std::string data;
};

struct Node {
  std::string content;
  std::string durable;
  std::vector<Change> unsynced;
  int readers = 0;
  bool writer = false;
  bool content_locked = false;
  std::int64_t modified = 1;
  std::int64_t durable_modified = 1;
  std::uint64_t number = 0;
};

struct NameChange {
  enum class Kind { kCreate, kRemove, kRename } kind;
  std::string path;
  std::string to;
  std::shared_ptr<Node> node;
};

using Names = std::map<std::string, std::shared_ptr<Node>>;

void Apply(const Change& change, std::string& content) {
  if (change.truncate) {
    content.resize(change.offset);
    return;
  }
  if (content.size() < change.offset + change.data.size()) content.resize(change.offset + change.data.size());
  content.replace(change.offset, change.data.size(), change.data);
}

void Apply(const NameChange& change, Names& names) {
  switch (change.kind) {
    case NameChange::Kind::kCreate:
      names[change.path] = change.node;
      break;
    case NameChange::Kind::kRemove:
      names.erase(change.path);
      break;
    case NameChange::Kind::kRename:
      if (const auto it = names.find(change.path); it != names.end()) {
        names[change.to] = it->second;
        names.erase(it);
      }
      break;
  }
}

std::string IdentityOf(const Node& node) { return fmt::format("memory:{}", node.number); }

std::string_view FolderOf(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

}  // namespace

struct MemoryFileSystem::Impl {
  Names names;
  Names durable_names;
  std::vector<NameChange> unsynced_names;
  std::map<std::string, bool> read_only;
  std::map<std::string, std::string> users;
  std::uint64_t generation = 0;  // of File objects; LosePower() ends one
  std::uint64_t nodes = 0;
  std::uint64_t operations = 0;
  std::uint64_t fail_at = 0;
  std::uint64_t fail_also_from = 0;
  Failure failure = Failure::kIo;
  bool from_then_on = false;
  std::uint64_t reads = 0;
  std::uint64_t fail_read_at = 0;
  bool reads_from_then_on = false;
  std::int64_t clock = 1;

  bool NextFails() {
    ++operations;
    if (fail_also_from != 0 && operations >= fail_also_from) return true;
    return fail_at != 0 && (operations == fail_at || (from_then_on && operations > fail_at));
  }
  [[noreturn]] void Fail(const std::string& path) const {
    throw Error(ErrorKind::kIo,
                fmt::format("The file {} cannot be written (operation {}).", path, operations));
  }
  void Count(const std::string& path) {
    if (NextFails()) Fail(path);
  }

  std::shared_ptr<Node> Find(const std::string& path) const {
    const auto it = names.find(path);
    if (it == names.end())
      throw Error(ErrorKind::kNotFound, fmt::format("The file {} does not exist.", path));
    return it->second;
  }
  std::shared_ptr<Node> NewNode() {
    auto node = std::make_shared<Node>();
    node->number = ++nodes;
    return node;
  }
  void ChangeName(NameChange change) {
    Apply(change, names);
    unsynced_names.push_back(std::move(change));
  }

  class OpenFile;
};

class MemoryFileSystem::Impl::OpenFile : public File {
 public:
  OpenFile(Impl& impl, std::shared_ptr<Node> node, std::string path, bool write)
      : impl_(impl),
        node_(std::move(node)),
        path_(std::move(path)),
        write_(write),
        generation_(impl.generation) {
    if (write_) {
      node_->writer = true;
    } else {
      ++node_->readers;
    }
  }
  ~OpenFile() override {
    if (generation_ != impl_.generation) return;
    if (write_) {
      node_->writer = node_->content_locked = false;
    } else {
      --node_->readers;
    }
  }

  const std::string& path() const override { return path_; }
  void Read(std::uint64_t offset, MutableBytes out) override {
    RequirePower();
    const std::uint64_t read = ++impl_.reads;
    if (impl_.fail_read_at != 0 &&
        (read == impl_.fail_read_at || (impl_.reads_from_then_on && read > impl_.fail_read_at))) {
      throw Error(ErrorKind::kIo, fmt::format("The file {} cannot be read (read {}).", path_, read));
    }
    if (offset > node_->content.size() || node_->content.size() - offset < out.size()) {
      throw Error(ErrorKind::kCorrupt,
                  fmt::format("The file {} ends before byte {}.", path_, offset + out.size()));
    }
    if (!out.empty()) std::memcpy(out.data(), node_->content.data() + offset, out.size());
  }

  void Write(std::uint64_t offset, Bytes data) override {
    RequireWrite();
    std::string bytes(reinterpret_cast<const char*>(data.data()), data.size());
    const bool fails = impl_.NextFails();
    if (fails) {
      if (impl_.failure != Failure::kShortWrite || impl_.operations != impl_.fail_at) impl_.Fail(path_);
      bytes.resize(bytes.size() / 2);
    }
    Do({false, offset, std::move(bytes)});
    if (fails) impl_.Fail(path_);
  }

  void Sync() override {
    RequirePower();
    impl_.Count(path_);
    node_->durable = node_->content;
    node_->unsynced.clear();
  }
  void SyncAll() override {
    Sync();
    node_->durable_modified = node_->modified;
  }
  FileStamp Stamp() override {
    RequirePower();
    return {IdentityOf(*node_), node_->content.size(), node_->modified};
  }
  bool IsInPlace() override {
    const auto it = impl_.names.find(path_);
    return it != impl_.names.end() && it->second == node_;
  }
  bool LockContent(bool) override {
    RequirePower();
    if (node_->readers != 0) return false;
    node_->content_locked = true;
    return true;
  }
  void ShareContent() override {
    if (generation_ == impl_.generation) node_->content_locked = false;
  }
  bool HasWriter() override { return node_->writer; }

  std::uint64_t Size() override {
    RequirePower();
    return node_->content.size();
  }

  void Truncate(std::uint64_t size) override {
    RequireWrite();
    impl_.Count(path_);
    Do({true, size, {}});
  }

 private:
  void RequirePower() const {
    if (generation_ != impl_.generation) {
      throw Error(ErrorKind::kIo, fmt::format("The file {} was open when the power was lost.", path_));
    }
  }
  void RequireWrite() const {
    RequirePower();
    if (!write_)
      throw Error(ErrorKind::kReadOnly, fmt::format("The file {} is open for reading only.", path_));
  }
  void Do(Change change) {
    Apply(change, node_->content);
    node_->modified = ++impl_.clock;
    node_->unsynced.push_back(std::move(change));
  }

  Impl& impl_;
  std::shared_ptr<Node> node_;
  std::string path_;
  bool write_;
  std::uint64_t generation_;
};

MemoryFileSystem::MemoryFileSystem() : impl_(std::make_unique<Impl>()) {}
MemoryFileSystem::~MemoryFileSystem() = default;

std::unique_ptr<File> MemoryFileSystem::Open(const std::string& path, OpenMode mode) {
  if (mode == OpenMode::kCreateNew) {
    if (Exists(path)) throw Error(ErrorKind::kExists, fmt::format("The file {} exists already.", path));
    if (const std::string why = WhyNotCreate(path); !why.empty()) {
      throw Error(ErrorKind::kReadOnly, fmt::format("The file {} cannot be written: {}.", path, why));
    }
    impl_->Count(path);
    impl_->ChangeName({NameChange::Kind::kCreate, path, {}, impl_->NewNode()});
  }
  std::shared_ptr<Node> node = impl_->Find(path);
  const bool write = mode != OpenMode::kRead;
  if (write && impl_->read_only[path]) {
    throw Error(ErrorKind::kReadOnly, fmt::format("The file {} is marked as read-only.", path));
  }
  if ((write && node->writer) || node->content_locked) {
    throw Error(ErrorKind::kLocked, fmt::format("The file {} is in use by another program.", path));
  }
  return std::make_unique<Impl::OpenFile>(*impl_, std::move(node), path, write);
}

std::unique_ptr<File> MemoryFileSystem::OpenCompanion(const std::string& path, OpenMode mode, File&) {
  return Open(path, mode);
}

void MemoryFileSystem::CreateWhole(const std::string& path, Bytes content) {
  if (Exists(path)) throw Error(ErrorKind::kExists, fmt::format("The file {} exists already.", path));
  auto node = impl_->NewNode();
  for (int step = 0; step < 3; ++step) impl_->Count(path);  // write, sync, name
  node->content = node->durable = std::string(reinterpret_cast<const char*>(content.data()), content.size());
  impl_->ChangeName({NameChange::Kind::kCreate, path, {}, std::move(node)});
  try {
    SyncFolder(path);
  } catch (...) {
    impl_->ChangeName({NameChange::Kind::kRemove, path, {}, nullptr});
    throw;
  }
}

std::string MemoryFileSystem::WhyNotCreate(const std::string& path) {
  const auto it = impl_->read_only.find(std::string(FolderOf(path)));
  return it != impl_->read_only.end() && it->second ? it->first + ": read only" : "";
}

std::uint64_t MemoryFileSystem::LinkCount(const std::string& path) {
  const std::shared_ptr<Node> node = impl_->Find(path);
  return std::count_if(impl_->names.begin(), impl_->names.end(),
                       [&](const auto& name) { return name.second == node; });
}

void MemoryFileSystem::Link(const std::string& from, const std::string& to) {
  impl_->names[to] = impl_->durable_names[to] = impl_->Find(from);
}

void MemoryFileSystem::CopyFrom(const MemoryFileSystem& other, const std::string& path) {
  const std::shared_ptr<Node> from = other.impl_->Find(path);
  SetContent(path, from->content);
  Node& to = *impl_->names[path];
  to.modified = to.durable_modified = from->modified;
}

void MemoryFileSystem::ChangeBehind(const std::string& path, std::uint64_t offset, const std::string& bytes) {
  Node& node = *impl_->Find(path);
  node.content.replace(offset, bytes.size(), bytes);
  node.durable.replace(offset, bytes.size(), bytes);
  node.modified = node.durable_modified = ++impl_->clock;
}

bool MemoryFileSystem::Exists(const std::string& path) { return impl_->names.contains(path); }

void MemoryFileSystem::Remove(const std::string& path) {
  impl_->Find(path);
  impl_->Count(path);
  impl_->ChangeName({NameChange::Kind::kRemove, path, {}, nullptr});
}

void MemoryFileSystem::Rename(const std::string& from, const std::string& to) {
  impl_->Find(from);
  impl_->Count(from);
  impl_->ChangeName({NameChange::Kind::kRename, from, to, nullptr});
}

void MemoryFileSystem::SyncFolder(const std::string& path) {
  impl_->Count(path);
  std::erase_if(impl_->unsynced_names, [&](const NameChange& change) {
    if (FolderOf(change.path) != FolderOf(path)) return false;
    Apply(change, impl_->durable_names);
    return true;
  });
}

std::unique_ptr<File> MemoryFileSystem::OpenTemporary() {
  impl_->Count("for temporary pages");
  return std::make_unique<Impl::OpenFile>(*impl_, impl_->NewNode(), "for temporary pages", true);
}

std::string MemoryFileSystem::Identity(const std::string& path) { return IdentityOf(*impl_->Find(path)); }

std::string MemoryFileSystem::AccessUsers(const std::string& database_path) {
  const auto it = impl_->users.find(database_path);
  return it == impl_->users.end() ? "" : it->second;
}

std::string MemoryFileSystem::Content(const std::string& path) const { return impl_->Find(path)->content; }

void MemoryFileSystem::SetContent(const std::string& path, std::string content) {
  auto node = impl_->NewNode();
  node->content = content;
  node->durable = std::move(content);
  impl_->names[path] = node;
  impl_->durable_names[path] = std::move(node);
}

void MemoryFileSystem::LosePower(std::uint64_t keep_seed) {
  ++impl_->generation;
  impl_->fail_at = impl_->fail_also_from = 0;
  std::mt19937_64 random(keep_seed);
  const auto keep = [&] { return keep_seed != 0 && random() % 2 == 0; };
  for (const NameChange& change : impl_->unsynced_names) {
    if (keep()) Apply(change, impl_->durable_names);
  }
  impl_->unsynced_names.clear();
  impl_->names = impl_->durable_names;
  for (const auto& [path, node] : impl_->names) {
    for (const Change& change : std::exchange(node->unsynced, {})) {
      const bool torn = keep_seed != 0 && random() % 4 == 0;
      if (!torn || change.truncate) {
        if (keep()) Apply(change, node->durable);
        continue;
      }
      for (std::size_t at = 0; at < change.data.size(); at += kSector) {
        if (keep()) Apply({false, change.offset + at, change.data.substr(at, kSector)}, node->durable);
      }
    }
    node->content = node->durable;
    node->modified = node->durable_modified;
    node->readers = 0;
    node->writer = node->content_locked = false;
  }
}

std::uint64_t MemoryFileSystem::operations() const { return impl_->operations; }

void MemoryFileSystem::FailAt(std::uint64_t operation, Failure failure, bool from_then_on) {
  impl_->fail_at = operation;
  impl_->failure = failure;
  impl_->from_then_on = from_then_on;
}

std::uint64_t MemoryFileSystem::reads() const { return impl_->reads; }

void MemoryFileSystem::FailReadAt(std::uint64_t read, bool from_then_on) {
  impl_->fail_read_at = read;
  impl_->reads_from_then_on = from_then_on;
}

void MemoryFileSystem::FailAlsoFrom(std::uint64_t operation) { impl_->fail_also_from = operation; }

void MemoryFileSystem::SetReadOnly(const std::string& path, bool read_only) {
  impl_->read_only[path] = read_only;
}

void MemoryFileSystem::SetAccessUsers(const std::string& database_path, std::string users) {
  impl_->users[database_path] = std::move(users);
}

}  // namespace jet
