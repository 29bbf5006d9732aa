#include "db/cadodb.h"

#include "db/connection_string.h"
#include "db/services.h"
#include "platform/desktop.h"
#include "platform/in_force.h"
#include "platform/messages.h"

namespace vnt::db {
namespace {

// Joined to a text, Null adds nothing.
std::string TextOf(const Value& value) { return value.is_empty_or_null() ? std::string() : value.ToText(); }

}  // namespace

cadodb::cadodb() : DBName(Value::Null()), username(Value::Null()), DsName(Value::Null()) {}

Connection& cadodb::Cn() const {
  if (!cn_) throw DbError(kErrObjectClosed, "cadodb:Cn", "No connection has been opened.");
  return *cn_;
}

void cadodb::SetCn(const Connection& other) { Cn().ConnectionString = other.ConnectionString; }

void cadodb::OpenADOConnection() {
  if (DBName.is_null()) {
    throw DbError(kErrMissingDatabaseName, "cadodb:OpenADOConnection", "Missing database name");
  }
  const std::string name = TextOf(DBName);
  cn_ = std::make_unique<Connection>();
  cn_->Mode = Mode;
  if (IsServerName(name)) {
    const Services& services = platform::InForce<Services>();
    cn_->Open(ServerSource(name, services.server_user, services.server_password));
    return;
  }
  // The search is for these four characters anywhere and in this letter case, so that "old.mdb.bak" goes to
  // the first provider and "OLD.MDB" to the second; databases in the field are named to fit.
  if (name.find(".mdb") != std::string::npos) {
    cn_->Open("PROVIDER=Microsoft.Jet.OLEDB.4.0;" + DataSource(name) + ";");
  } else {
    cn_->Open("Provider=Microsoft.ACE.OLEDB.12.0;" + DataSource(name) + ";");
  }
}

void cadodb::OpenIngresAdoConnection() {
  cn_ = std::make_unique<Connection>();
  cn_->ConnectionString = "PROVIDER=MSDASQL; DSN=" + TextOf(DsName) + "; UID=" + TextOf(username) + ";PWD=;";
  cn_->Open();
}

void cadodb::AddTempODBCDsn() {
  if (TextOf(DBName).empty()) {
    platform::ShowMessage("Unable to create temp DSN:  Database name is missing.",
                          platform::MessageStyle::kPlain);
    return;
  }
  if (TextOf(DsName).empty()) DsName = Value::Text("VELTDSN");
  std::string attributes;
  for (const std::string& item :
       {std::string("SERVER=Microsoft Access"), std::string("DESCRIPTION=Temporary DSN"),
        "DSN=" + TextOf(DsName), "DBQ=" + TextOf(DBName), std::string("UID="), std::string("PWD=")}) {
    attributes += item;
    attributes += '\0';
  }
  attributes += '\0';
  if (!platform::AddDataSource("Microsoft Access Driver (*.mdb)", attributes)) {
    platform::ShowMessage("Create Temp DSN Failed", platform::MessageStyle::kPlain);
  }
}

}  // namespace vnt::db
