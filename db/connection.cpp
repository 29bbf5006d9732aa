// Connection, Recordset and Command over the provider that the connection string names; the SQL log and the
// observer see every statement here, whichever provider carries it out.
#include "db/connection.h"

#include <utility>

#include "access/base/interruption.h"
#include "access/base/text.h"
#include "access/file/file.h"
#include "db/access_provider/access_provider.h"
#include "db/connection_string.h"
#include "db/odbc_provider/odbc_provider.h"
#include "db/provider.h"
#include "db/server_provider/server_provider.h"
#include "db/services.h"
#include "platform/in_force.h"

namespace vnt::db {
namespace {

constexpr char kSource[] = "VNTFixdb";
constexpr std::int32_t kErrAlreadyOpen = 3705;

Services& TheServices() { return platform::InForce<Services>(); }

void Tell(std::string_view text, std::int64_t rows, const DbError* error) {
  const auto& observer = TheServices().observer;
  if (observer) observer({text, rows, error});
}

// Runs `send`, which gives the number of rows affected, between the log and the observer.
template <typename Send>
std::int64_t Observed(std::string_view sql, Send send) {
  TheServices().log.Write(sql);
  if (jet::interruption != 0)
    throw DbError(kErrInterrupted, kSource, "The work was interrupted.", /*environment=*/true);
  std::int64_t rows = 0;
  try {
    rows = send();
  } catch (const DbError& error) {
    Tell(sql, 0, &error);
    throw;
  }
  Tell(sql, rows, nullptr);
  return rows;
}

std::shared_ptr<ProviderConnection> OpenProvider(const ConnectionSettings& settings, AccessMode mode) {
  if (const ProviderFactory& serve = TheServices().provider) {
    const std::string* source = settings.Find("data source");
    return serve(source == nullptr ? std::string() : *source);
  }
  const std::string* provider = settings.Find("provider");
  if (provider == nullptr) {
    throw DbError(kErrFailed, kSource, "The connection string names no provider.");
  }
  if (jet::EqualWords(*provider, "MSDASQL")) return OpenOdbc(settings);
  if (jet::EqualWords(*provider, "VNTFix.Server")) {
    return OpenServer(settings, mode == AccessMode::kRead,
                      [](std::int64_t rows) { Tell({}, rows, nullptr); });
  }
  const bool jet = jet::EqualWords(*provider, "Microsoft.Jet.OLEDB.4.0");
  if (jet || jet::EqualWords(*provider, "Microsoft.ACE.OLEDB.12.0")) {
    const std::string* file = settings.Find("data source");
    return OpenAccess(file == nullptr ? std::string() : *file, mode,
                      jet ? AccessFormats::kJet : AccessFormats::kJetAndAce);
  }
  throw DbError(kErrFailed, kSource, "The provider \"" + *provider + "\" is not known.");
}

}  // namespace

Connection::Connection() = default;

Connection::~Connection() {
  // Who wants to hear of a failing checkpoint calls Close() or Checkpoint(); the file is then as it was at
  // the last one.
  try {
    Close();
  } catch (const std::exception&) {
  }
}

void Connection::Open() {
  if (is_open()) throw DbError(kErrAlreadyOpen, kSource, "The connection is open already.");
  TheServices().log.Refresh();
  provider_ = OpenProvider(ConnectionSettings(ConnectionString), Mode);
}

void Connection::Open(std::string_view connection_string) {
  if (is_open()) throw DbError(kErrAlreadyOpen, kSource, "The connection is open already.");
  ConnectionString = connection_string;
  Open();
}

void Connection::Close() {
  if (!provider_) return;
  const auto closing = std::move(provider_);
  provider_ = nullptr;
  closing->Checkpoint();
}

void Connection::Drop() { provider_ = nullptr; }

bool Connection::is_open() const { return provider_ != nullptr; }

ProviderConnection& Connection::provider() const {
  if (!provider_) throw DbError(kErrObjectClosed, kSource, "The connection is not open.");
  return *provider_;
}

std::int64_t Connection::Execute(std::string_view sql) {
  ProviderConnection& target = provider();
  static const std::vector<Value> kNoParameters;
  return Observed(sql, [&] { return target.Execute(sql, kNoParameters); });
}

void Connection::Persist() { provider().Persist(); }

void Connection::Checkpoint() { provider().Checkpoint(); }

void Connection::Mark() { provider().Mark(); }

bool Connection::RevertToMark() { return provider().RevertToMark(); }

std::optional<std::int64_t> Connection::ChangedRows(jet::ChangedRows* together) {
  return provider().ChangedRows(together);
}

Durability Connection::GetDurability() { return provider().GetDurability(); }

void Connection::Release() { provider().Release(); }

void Connection::Resume() { provider().Resume(); }

jet::File* Connection::SavedFile() { return provider().SavedFile(); }

bool Connection::IsSaved() { return provider().IsSaved(); }

std::unique_ptr<jet::File> Connection::SavedContent() { return provider().SavedContent(); }

std::unique_ptr<jet::File> ProviderConnection::SavedContent() { return nullptr; }

void Connection::SetDeferring(bool on) { provider().SetDeferring(on); }

namespace {

ProviderRecordset& OpenOnly(const std::unique_ptr<ProviderRecordset>& impl) {
  if (!impl) throw DbError(kErrObjectClosed, kSource, "The recordset is not open.");
  return *impl;
}

int FindField(const ProviderRecordset& recordset, std::string_view name) {
  const int count = recordset.FieldCount();
  // What equals a name in ASCII has its length.
  const bool ascii = jet::IsAscii(name);
  for (int i = 0; i < count; ++i) {
    const std::string& field = recordset.FieldName(i);
    if (ascii && field.size() != name.size()) continue;
    if (field == name || jet::EqualNames(field, name)) return i;
  }
  throw DbError(kErrItemNotFound, kSource, "The recordset has no field \"" + std::string(name) + "\".");
}

void CheckIndex(const ProviderRecordset& recordset, int index) {
  if (index < 0 || index >= recordset.FieldCount()) {
    throw DbError(kErrItemNotFound, kSource,
                  "The recordset has no field with the index " + std::to_string(index) + ".");
  }
}

}  // namespace

Recordset::Recordset() = default;
Recordset::~Recordset() = default;

void Recordset::Open(std::string_view sql, Connection& connection, CursorType cursor, LockType lock) {
  if (impl_) throw DbError(kErrAlreadyOpen, kSource, "The recordset is open already.");
  ProviderConnection& source = connection.provider();
  Observed(sql, [&] {
    impl_ = source.OpenRecordset(sql, cursor, lock);
    return 0;
  });
}

void Recordset::Close() {
  OpenOnly(impl_);
  impl_ = nullptr;
}

bool Recordset::is_open() const { return impl_ != nullptr; }
bool Recordset::Eof() const { return OpenOnly(impl_).Eof(); }
bool Recordset::Bof() const { return OpenOnly(impl_).Bof(); }
void Recordset::MoveNext() { OpenOnly(impl_).MoveNext(); }
void Recordset::MovePrevious() { OpenOnly(impl_).MovePrevious(); }
void Recordset::MoveFirst() { OpenOnly(impl_).MoveFirst(); }
void Recordset::MoveLast() { OpenOnly(impl_).MoveLast(); }
std::int64_t Recordset::RecordCount() const { return OpenOnly(impl_).RecordCount(); }
int Recordset::FieldCount() const { return OpenOnly(impl_).FieldCount(); }

std::string Recordset::FieldName(int index) const {
  const ProviderRecordset& recordset = OpenOnly(impl_);
  CheckIndex(recordset, index);
  return recordset.FieldName(index);
}

Value Recordset::Get(std::string_view field) const {
  const ProviderRecordset& recordset = OpenOnly(impl_);
  return recordset.Get(FindField(recordset, field));
}

Value Recordset::Get(int index) const {
  const ProviderRecordset& recordset = OpenOnly(impl_);
  CheckIndex(recordset, index);
  return recordset.Get(index);
}

void Recordset::Set(std::string_view field, const Value& value) {
  ProviderRecordset& recordset = OpenOnly(impl_);
  recordset.Set(FindField(recordset, field), value);
}

void Recordset::AddNew() { OpenOnly(impl_).AddNew(); }

void Recordset::Update() {
  const std::int64_t rows = OpenOnly(impl_).Update();
  if (rows != 0) Tell({}, rows, nullptr);
}

void Recordset::CancelUpdate() { OpenOnly(impl_).CancelUpdate(); }

void Recordset::Delete() {
  OpenOnly(impl_).Delete();
  Tell({}, 1, nullptr);
}

std::int64_t Command::Execute() {
  ProviderConnection& target = connection_->provider();
  std::vector<Value> values;
  values.reserve(Parameters.size());
  for (const Parameter& parameter : Parameters) {
    if (parameter.value.is_empty()) {
      throw DbError(kErrParameter, kSource, "The parameter \"" + parameter.name + "\" has no value.");
    }
    values.push_back(parameter.value);
  }
  return Observed(CommandText, [&] { return target.Execute(CommandText, values); });
}

}  // namespace vnt::db
