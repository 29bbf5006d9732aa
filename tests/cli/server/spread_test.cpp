// The set-up of docs/server.md, as it stands there; and notices that lie on two servers.
#include <cstdlib>
#include <fstream>
#include <string>

#include "tests/cli/server/notice_source.h"
#include "tests/db/postgres_server.h"

namespace vnt::test {
namespace {

// The first block of that kind in docs/server.md.
std::string Block(const std::string& kind) {
  const std::string text = cli::Slurp(VNT_SOURCE_FOLDER "/docs/server.md");
  const std::string start = "```" + kind + "\n";
  const std::size_t begin = text.find(start) + start.size();
  return text.substr(begin, text.find("```", begin) - begin);
}

std::string Line(const std::string& file) {
  std::string line = cli::Slurp(file);
  while (line.ends_with('\n')) line.pop_back();
  return line;
}

class SetUp : public NoticeSource {};

TEST_F(SetUp, TheTenLinesWorkInAFreshFolder) {
  const std::string port = Line(db::PostgresServer::Get().folder() + "/port");
  std::ofstream(PathOf(At("lines.sh"))) << "set -e\ncd '" << At("") << "'\n"
                                        << "export PGHOST=127.0.0.1 PGPORT=" << port << " PGUSER=postgres\n"
                                        << "PATH=" VNT_PROGRAM_FOLDER ":/usr/lib/postgresql/15/bin:$PATH\n"
                                        << "unset ODBCSYSINI\n"
                                        << Block("sh");
  const int status = std::system(("sh '" + At("lines.sh") + "' > '" + At("out") + "' 2>&1").c_str());
  EXPECT_EQ(status, 0) << cli::Slurp(At("out"));
  EXPECT_NE(cli::Slurp(At("out")).find("VNTFixEN"), std::string::npos) << cli::Slurp(At("out"));
  admin().Execute("DROP DATABASE practice WITH (FORCE)");
}

// A second server, for as long as it lives.
class SecondServer {
 public:
  explicit SecondServer(std::string folder) : folder_(std::move(folder)) {
    // The variables stay those of the first one.
    EXPECT_EQ(std::system((std::string("'" VNT_POSTGRES_FIXTURE "' start '") + folder_ + "' " +
                           std::to_string(getpid()))
                              .c_str()),
              0);
  }
  ~SecondServer() {
    (void)!std::system((std::string("'" VNT_POSTGRES_FIXTURE "' stop '") + folder_ + "'").c_str());
  }
  std::string port() const { return Line(folder_ + "/port"); }

 private:
  std::string folder_;
};

class Spread : public NoticeSource {
 protected:
  std::string Number(const std::string& query) {
    const std::string rows = Rows(file_, query);
    return rows.substr(rows.find('\n') + 1, rows.rfind('\n') - rows.find('\n') - 1);
  }
};

TEST_F(Spread, AllFixesOverTwoServersLeaveTheTablesOfAFile) {
  MakeHardSample("jet4", "12");
  const SecondServer second("/tmp/vnt-second-" + std::to_string(getpid()));
  const std::string first_port = Line(db::PostgresServer::Get().folder() + "/port");
  admin().Execute("DROP DATABASE IF EXISTS shard1 WITH (FORCE)");
  admin().Execute("CREATE DATABASE shard1");
  const std::string driver = "Driver = PostgreSQL for tests\nServername = 127.0.0.1\nBoolsAsChar = 0\n";
  std::ofstream(db::PostgresServer::Get().folder() + "/odbc.ini", std::ios::app)
      << "[SHARD1]\n"
      << driver << "Database = shard1\nPort = " << first_port << "\n\n[SHARD2]\n"
      << driver << "Database = tlkp\nPort = " << second.port() << "\n\n";
  admin().Execute("DROP SCHEMA IF EXISTS seed CASCADE; DROP SCHEMA public CASCADE; CREATE SCHEMA public");
  for (const char* to : {kSource, "dsn:SHARD1", "dsn:SHARD2"}) {
    const cli::Outcome copied = cli::RunCli({"copy", file_, to, kUser});
    ASSERT_EQ(copied.code, cli::kOk) << copied.err;
    if (to == std::string(kSource)) continue;
    db::Connection shard;
    shard.Open("PROVIDER=MSDASQL; DSN=" + std::string(to).substr(4) + "; UID=postgres;PWD=;");
    shard.Execute(
        "DO $$ DECLARE t text; BEGIN FOR t IN SELECT tablename FROM pg_tables WHERE schemaname = 'public' "
        "LOOP EXECUTE format('TRUNCATE %I', t); END LOOP; END $$");
  }
  admin().Execute("CREATE EXTENSION IF NOT EXISTS postgres_fdw");
  const std::string options =
      " FOREIGN DATA WRAPPER postgres_fdw OPTIONS (host '127.0.0.1', batch_size '1000', "
      "fetch_size '10000', port '";
  admin().Execute("CREATE SERVER shard1" + options + first_port + "', dbname 'shard1')");
  admin().Execute("CREATE SERVER shard2" + options + second.port() + "', dbname 'tlkp')");
  for (const char* server : {"shard1", "shard2"})
    admin().Execute(std::string("CREATE USER MAPPING FOR postgres SERVER ") + server +
                    " OPTIONS (user 'postgres')");
  admin().Execute(Block("sql"));
  const std::string notice = Number("select min(ntc_id) + 6 from notice");
  const std::string group = Number("select min(grp_id) from grp where ntc_id >= " + notice);
  admin().Execute("SELECT pg_temp.spread(" + notice + ", " + group + ")");
  // Both hold some of it.
  EXPECT_NE(Rows("dsn:SHARD1", "select count(*) from grp"), Rows(file_, "select count(*) from grp"));
  EXPECT_EQ(cli::RunCli({"diff", file_, kSource, kUser}).code, cli::kOk);

  const cli::Outcome on_server = Fix(kSource, {"--all"}), on_file = Fix(file_, {"--all"});
  EXPECT_EQ(on_server.code, cli::kOk) << on_server.out << on_server.err;
  EXPECT_EQ(on_file.code, cli::kOk);
  for (const std::string& database : {std::string(kSource), file_}) {
    std::vector<std::string> empty = {"sql", database, "update history set d_hist = null, hist_text = null"};
    if (database == kSource) empty.push_back(kUser);
    EXPECT_EQ(cli::RunCli(empty).code, cli::kOk);
  }
  const cli::Outcome diff = cli::RunCli({"diff", file_, kSource, kUser});
  EXPECT_EQ(diff.code, cli::kOk) << diff.out.substr(0, 3000) << diff.err;
  admin().Execute("DROP EXTENSION postgres_fdw CASCADE; DROP SCHEMA public CASCADE; CREATE SCHEMA public");
}

}  // namespace
}  // namespace vnt::test
