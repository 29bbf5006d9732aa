#include "db/access_provider/access_connection.h"

#include "access/store/changed_rows.h"
#include "db/access_provider/access_provider.h"
#include "db/access_provider/access_recordset.h"
#include "db/access_provider/errors.h"
#include "db/access_provider/values.h"

namespace vnt::db {

Attachment::Attachment(AccessConnection& connection)
    : connection_(&connection), next_(connection.attachments_), link_(&connection.attachments_) {
  if (next_ != nullptr) next_->link_ = &next_;
  connection.attachments_ = this;
}

Attachment::~Attachment() {
  if (connection_ == nullptr) return;
  *link_ = next_;
  if (next_ != nullptr) next_->link_ = link_;
}

AccessConnection& Attachment::connection() const {
  if (connection_ == nullptr) {
    throw DbError(kErrObjectClosed, kAccessSource, "The connection of the recordset has been closed.");
  }
  return *connection_;
}

AccessConnection::AccessConnection(const std::string& path, AccessMode mode, AccessFormats formats)
    : path_(path), mode_(mode), formats_(formats) {
  engine();
}

AccessConnection::~AccessConnection() { CloseRecordsets(); }

void AccessConnection::CloseRecordsets() {
  while (attachments_ != nullptr) {
    Attachment& first = *attachments_;
    attachments_ = first.next_;
    if (attachments_ != nullptr) attachments_->link_ = &attachments_;
    first.Release();
    first.connection_ = nullptr;
  }
}

AccessEngine& AccessConnection::engine() {
  if (engine_ != nullptr) return *engine_;
  auto engine =
      OpenEngine(path_, mode_ == AccessMode::kRead ? jet::OpenMode::kRead : jet::OpenMode::kReadWrite);
  const jet::Format format = engine->database->format();
  if (formats_ == AccessFormats::kJet && format != jet::Format::kJet3 && format != jet::Format::kJet4) {
    throw DbError(kErrFailed, kAccessSource,
                  "The file \"" + engine->database->path() +
                      "\" has a newer database format, which the provider Microsoft.Jet.OLEDB.4.0 does not "
                      "recognize.");
  }
  const bool writable = engine->database->writable();
  if (was_writable_ && !writable) {
    throw DbError(kErrReadOnly, kAccessSource,
                  "The database \"" + path_ + "\" cannot be changed any more. " + engine->read_only_reason);
  }
  engine_ = std::move(engine);
  was_writable_ = writable && mode_ != AccessMode::kRead;
  return *engine_;
}

void AccessConnection::RequireWritable() {
  if (CanWrite()) return;
  const std::string& reason = engine().read_only_reason;
  throw DbError(
      kErrReadOnly, kAccessSource,
      database().read_only_sentence() + (mode_ == AccessMode::kRead || reason.empty() ? "" : " " + reason));
}

std::int64_t AccessConnection::Execute(std::string_view sql, const std::vector<Value>& parameters) {
  return Translated([&] {
    if (!CanWrite() && !jet::sql::Session::IsQuery(sql)) RequireWritable();
    std::vector<jet::Value> values;
    values.reserve(parameters.size());
    for (const Value& parameter : parameters) values.push_back(ToEngine(parameter));
    return session().Execute(sql, values);
  });
}

std::unique_ptr<ProviderRecordset> AccessConnection::OpenRecordset(std::string_view sql, CursorType cursor,
                                                                   LockType lock) {
  return Translated([&] { return OpenAccessRecordset(*this, sql, cursor, lock); });
}

void AccessConnection::Checkpoint() {
  if (mode_ == AccessMode::kRead || engine_ == nullptr || !database().has_changes()) return;
  Translated([&] { database().Checkpoint(); });
}

void AccessConnection::Persist() {
  if (mode_ != AccessMode::kRead && engine_ != nullptr) Translated([&] { database().Persist(); });
}

void AccessConnection::Mark() {
  if (mode_ != AccessMode::kRead && engine_ != nullptr) Translated([&] { database().Mark(); });
}

bool AccessConnection::RevertToMark() {
  if (mode_ != AccessMode::kRead && engine_ != nullptr) Translated([&] { database().RevertToMark(); });
  return true;
}

std::optional<std::int64_t> AccessConnection::ChangedRows(jet::ChangedRows* together) {
  if (mode_ == AccessMode::kRead || engine_ == nullptr) return 0;
  return Translated([&] { return jet::CountChangedRows(database(), together); });
}

Durability AccessConnection::GetDurability() {
  if (mode_ == AccessMode::kRead || engine_ == nullptr) return Durability::kAll;
  switch (database().durability()) {
    case jet::Durability::kAll:
      return Durability::kAll;
    case jet::Durability::kPersisted:
      return Durability::kPersisted;
    case jet::Durability::kLost:
      return Durability::kLost;
    case jet::Durability::kUnknown:
      break;
  }
  return Durability::kUnknown;
}

void AccessConnection::Release() {
  CloseRecordsets();
  // Whatever becomes of the checkpoint, the file is let go of.
  const std::shared_ptr<AccessEngine> engine = std::move(engine_);
  engine_ = nullptr;
  if (engine == nullptr || mode_ == AccessMode::kRead || !engine->database->has_changes()) return;
  Translated([&] { engine->database->Checkpoint(); });
}

jet::File* AccessConnection::SavedFile() { return &database().pages().file(); }

std::unique_ptr<jet::File> AccessConnection::SavedContent() {
  if (database().durability() != jet::Durability::kAll) return nullptr;
  // Saving sets a mark.
  return database().pages().FileAtMark();
}

void AccessConnection::Resume() {
  Translated([&] { engine(); });
}

std::shared_ptr<ProviderConnection> OpenAccess(const std::string& path, AccessMode mode,
                                               AccessFormats formats) {
  return Translated([&]() -> std::shared_ptr<ProviderConnection> {
    return std::make_shared<AccessConnection>(path, mode, formats);
  });
}

}  // namespace vnt::db
