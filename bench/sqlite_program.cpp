#include "bench/sqlite_program.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <regex>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>

#include "bench/sqlite_handle.h"
#include "bench/sqlite_walks.h"
#include "db/provider.h"
#include "program/program_state.h"
#include "run/guards.h"

namespace vnt::bench {
namespace {

using Clock = std::chrono::steady_clock;

// ---- what the fixes send

struct Step {
  std::string sql;  // of a statement
  Walk walk = nullptr;
};

struct Work {
  std::string caption;
  std::vector<Step> steps;
};

// A database without rows that writes down what it is asked.
class Recorder : public db::ProviderConnection {
 public:
  explicit Recorder(std::vector<Step>& steps) : steps_(steps) {}
  std::int64_t Execute(std::string_view sql, const std::vector<db::Value>&) override {
    steps_.push_back({std::string(sql)});
    return 0;
  }
  std::unique_ptr<db::ProviderRecordset> OpenRecordset(std::string_view sql, db::CursorType,
                                                       db::LockType) override;
  void Checkpoint() override {}

 private:
  std::vector<Step>& steps_;
};

class NoRows : public db::ProviderRecordset {
 public:
  bool Eof() const override { return true; }
  bool Bof() const override { return true; }
  void MoveNext() override {}
  void MovePrevious() override {}
  void MoveFirst() override {}
  void MoveLast() override {}
  std::int64_t RecordCount() const override { return 0; }
  int FieldCount() const override { return 0; }
  const std::string& FieldName(int) const override { throw NoRow(); }
  db::Value Get(int) const override { throw NoRow(); }
  void Set(int, const db::Value&) override { throw NoRow(); }
  void AddNew() override { throw NoRow(); }
  std::int64_t Update() override { throw NoRow(); }
  void CancelUpdate() override {}
  void Delete() override { throw NoRow(); }

 private:
  static db::DbError NoRow() { return {db::kErrNoCurrentRecord, "SQLite", "There is no current record."}; }
};

std::unique_ptr<db::ProviderRecordset> Recorder::OpenRecordset(std::string_view sql, db::CursorType,
                                                               db::LockType) {
  const Walk walk = WalkOf(sql);
  // A step without a statement and without a walk: nobody knows how to do it.
  steps_.push_back({walk == nullptr ? std::string() : std::string(sql), walk});
  return std::make_unique<NoRows>();
}

class Collector : public RunObserver {
 public:
  explicit Collector(std::vector<Step>& steps) : steps_(steps) {}
  void RunStarts() override { steps_.clear(); }
  void FixEnds(const FixResult& result) override {
    work.push_back({result.fix == nullptr ? "history stamp" : std::string(result.fix->caption),
                    std::exchange(steps_, {})});
  }
  std::vector<Work> work;

 private:
  std::vector<Step>& steps_;
};

std::vector<Work> WorkOf(const FixSelection& selection) {
  std::vector<Step> steps;
  State().db_services.provider = [&](const std::string&) { return std::make_shared<Recorder>(steps); };
  OpenAccessDatabase();
  Collector collector(steps);
  RunFixes(selection, collector);
  State().main_connection.reset();
  for (const Work& work : collector.work) {
    for (const Step& step : work.steps) {
      if (step.sql.empty())
        throw std::runtime_error("The yardstick has no walk for one of " + work.caption + ".");
    }
  }
  return std::move(collector.work);
}

// ---- SQLite

void Ucase(sqlite3_context* context, int, sqlite3_value** arguments) {
  if (sqlite3_value_type(arguments[0]) == SQLITE_NULL) return;
  std::string text(reinterpret_cast<const char*>(sqlite3_value_text(arguments[0])));
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  sqlite3_result_text(context, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

// left(text, n) and right(text, n); n characters of one byte each, as the samples hold.
void LeftRight(sqlite3_context* context, int, sqlite3_value** arguments) {
  if (sqlite3_value_type(arguments[0]) == SQLITE_NULL) return;
  const bool right = sqlite3_user_data(context) != nullptr;
  const char* text = reinterpret_cast<const char*>(sqlite3_value_text(arguments[0]));
  const int size = sqlite3_value_bytes(arguments[0]);
  const int count = std::min(size, sqlite3_value_int(arguments[1]));
  sqlite3_result_text(context, right ? text + size - count : text, count, SQLITE_TRANSIENT);
}

std::string Replace(const std::string& text, const char* pattern, const char* format) {
  return std::regex_replace(text, std::regex(pattern, std::regex::icase), format);
}

// The spellings that differ. Everything else goes through as it stands.
std::string ToSqlite(std::string_view access_sql) {
  std::string sql(access_sql);
  sql = Replace(sql, "^ *drop table ", "DROP TABLE IF EXISTS ");
  const auto has = [&](const char* part) { return sql.find(part) != std::string::npos; };
  if (has("INNER JOIN") && (sql.starts_with("UPDATE"))) {
    sql = Replace(sql, R"(UPDATE (\w+) INNER JOIN (\w+) ON (.+?) SET (.+?) Where (.*))",
                  "UPDATE $1 SET $4 FROM $2 WHERE $3 AND ($5)");
  }
  if (has("SET ") || has("set ")) sql = Replace(sql, R"((SET |, +)(emiss|com_el|grp)\.(\w+) =)", "$1$3 =");
  if (has(" +  '")) sql = Replace(sql, R"( \+  ')", " || '");
  if (has("left(")) sql = Replace(sql, R"(\bleft\()", "left_(");
  if (has("right(")) sql = Replace(sql, R"(\bright\()", "right_(");
  if (has(" into ") || has(" Into ")) {
    sql = Replace(sql, R"( *select (.+) into (\w+) from (\w+) in '[^']*')",
                  "create table $2 as select $1 from reference.$3");
    sql = Replace(sql, R"(^ *select (.+) into (\w+) from (.*))", "create table $2 as select $1 from $3");
  }
  // The sixteenth column, which no build writes, is left out by name in Access.
  if (sql.starts_with("INSERT INTO freq  SELECT")) {
    sql.replace(0, 16,
                "INSERT INTO freq (ntc_id, emi_rcp, beam_name, grp_id, seq_no, freq_sym, freq_assgn, "
                "freq_mhz, freq_min, "
                "freq_max, bdwdth, fdg_reg, d_prot_eff, wic_no, ntc_type)");
  }
  if (has("#")) {
    std::smatch date;
    while (std::regex_search(sql, date, std::regex(R"(#(\d+)/(\d+)/(\d+)#)"))) {
      int month = std::stoi(date[1]), day = std::stoi(date[2]);
      if (month > 12) std::swap(month, day);
      const double number = db::JoinDate({std::stoi(date[3]), month, day});
      sql.replace(static_cast<std::size_t>(date.position()), static_cast<std::size_t>(date.length()),
                  fmt::format("{}", number));
    }
  }
  return sql;
}

void AddFunctions(sqlite3* handle) {
  static int right;
  const int flags = SQLITE_UTF8 | SQLITE_DETERMINISTIC;
  sqlite3_create_function(handle, "ucase", 1, flags, nullptr, Ucase, nullptr, nullptr);
  sqlite3_create_function(
      handle, "len", 1, flags, nullptr,
      [](sqlite3_context* c, int, sqlite3_value** v) {
        if (sqlite3_value_type(v[0]) != SQLITE_NULL) sqlite3_result_int(c, sqlite3_value_bytes(v[0]));
      },
      nullptr, nullptr);
  sqlite3_create_function(handle, "left_", 2, flags, nullptr, LeftRight, nullptr, nullptr);
  sqlite3_create_function(handle, "right_", 2, flags, &right, LeftRight, nullptr, nullptr);
}

}  // namespace

std::vector<TimedFix> RunSqliteProgram(const FixSelection& selection, const std::string& notices,
                                       const std::string& reference) {
  std::vector<Work> all = WorkOf(selection);
  for (Work& work : all) {
    std::erase_if(work.steps, [](const Step& step) {
      // A query whose rows nobody takes.
      return step.walk == nullptr && (step.sql.starts_with("select d_inuse"));
    });
    for (Step& step : work.steps) {
      if (step.walk == nullptr) step.sql = ToSqlite(step.sql);
    }
  }
  const Handle handle = OpenHandle(notices);
  AddFunctions(handle.get());
  Run(handle.get(), fmt::format("ATTACH '{}' AS reference", reference));
  std::vector<TimedFix> timed;
  for (const Work& work : all) {
    const auto start = Clock::now();
    Run(handle.get(), "BEGIN");
    for (const Step& step : work.steps) {
      if (step.walk != nullptr) {
        step.walk(handle.get());
      } else {
        Prepared(handle.get(), step.sql).Run();
      }
    }
    Run(handle.get(), "COMMIT");
    timed.push_back({work.caption, std::chrono::duration<double>(Clock::now() - start).count()});
  }
  return timed;
}

std::vector<std::string> DifferingTables(const std::string& left, const std::string& right) {
  const Handle handle = OpenHandle(left);
  Run(handle.get(), fmt::format("ATTACH '{}' AS other", right));
  std::vector<std::string> names, differing;
  Prepared tables(handle.get(),
                  "SELECT name FROM main.sqlite_master WHERE type = 'table' UNION SELECT name FROM "
                  "other.sqlite_master WHERE type = 'table' ORDER BY 1");
  while (tables.Step()) names.emplace_back(tables.Text(0));
  for (const std::string& name : names) {
    std::string columns;
    Prepared info(handle.get(), fmt::format("SELECT name FROM pragma_table_info('{}', 'main')", name));
    while (info.Step()) {
      const std::string column(info.Text(0));
      if (name == "history" && column != "ntc_id" && column != "seq_no") continue;
      columns += fmt::format(
          "{0}CASE typeof(\"{1}\") WHEN 'real' THEN printf('%.6g', \"{1}\") ELSE \"{1}\" || '' END",
          columns.empty() ? "" : ", ", column);
    }
    const auto only = [&](const char* one, const char* another) -> std::string {
      try {
        Prepared count(handle.get(),
                       fmt::format("SELECT count(*) FROM (SELECT {0} FROM {1}.\"{3}\" EXCEPT SELECT {0} "
                                   "FROM {2}.\"{3}\")",
                                   columns, one, another, name));
        count.Step();
        return std::to_string(count.Integer(0));
      } catch (const std::runtime_error&) {
        return "no table to compare with";
      }
    };
    const std::string here = only("main", "other"), there = only("other", "main");
    if (here != "0" || there != "0") differing.push_back(fmt::format("{} ({}; {})", name, here, there));
  }
  return differing;
}

}  // namespace vnt::bench
