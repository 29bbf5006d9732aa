#include "db/access_provider/access_connection.h"

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

AccessConnection::~AccessConnection() {
  while (attachments_ != nullptr) {
    Attachment& first = *attachments_;
    attachments_ = first.next_;
    if (attachments_ != nullptr) attachments_->link_ = &attachments_;
    first.Release();
    first.connection_ = nullptr;
  }
}

void AccessConnection::RequireWritable() const {
  if (mode_ == AccessMode::kRead || !engine_->database->writable()) {
    throw DbError(kErrReadOnly, kAccessSource, engine_->database->read_only_sentence());
  }
}

std::int64_t AccessConnection::Execute(std::string_view sql, const std::vector<Value>& parameters) {
  return Translated([&] {
    if ((mode_ == AccessMode::kRead || !engine_->database->writable()) && !jet::sql::Session::IsQuery(sql))
      RequireWritable();
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
  if (mode_ == AccessMode::kRead || !database().has_changes()) return;
  Translated([&] { database().Checkpoint(); });
}

void AccessConnection::Persist() {
  if (mode_ != AccessMode::kRead) Translated([&] { database().Persist(); });
}

void AccessConnection::Mark() {
  if (mode_ != AccessMode::kRead) Translated([&] { database().Mark(); });
}

bool AccessConnection::RevertToMark() {
  if (mode_ != AccessMode::kRead) Translated([&] { database().RevertToMark(); });
  return true;
}

Durability AccessConnection::GetDurability() {
  if (mode_ == AccessMode::kRead) return Durability::kAll;
  switch (database().durability()) {
    case jet::Durability::kAll:
      return Durability::kAll;
    case jet::Durability::kPersisted:
      return Durability::kPersisted;
    case jet::Durability::kUnknown:
      break;
  }
  return Durability::kUnknown;
}

std::shared_ptr<ProviderConnection> OpenAccess(const std::string& path, AccessMode mode,
                                               AccessFormats formats) {
  return Translated([&]() -> std::shared_ptr<ProviderConnection> {
    auto engine =
        OpenEngine(path, mode == AccessMode::kRead ? jet::OpenMode::kRead : jet::OpenMode::kReadWrite);
    const jet::Format format = engine->database->format();
    if (formats == AccessFormats::kJet && format != jet::Format::kJet3 && format != jet::Format::kJet4) {
      throw DbError(kErrNotFound, kAccessSource,
                    "The file \"" + engine->database->path() +
                        "\" has a newer database format, which the provider Microsoft.Jet.OLEDB.4.0 does not "
                        "recognize.");
    }
    return std::make_shared<AccessConnection>(std::move(engine), mode);
  });
}

}  // namespace vnt::db
