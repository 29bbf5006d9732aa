#include "samples/sample_database.h"

#include <array>
#include <exception>
#include <memory>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "access/sql/session.h"
#include "access/store/database.h"
#include "samples/notice_rows.h"
#include "samples/schema.h"

namespace vnt::samples {
namespace {

using jet::Value;

std::shared_ptr<jet::Database> CreateWithSchema(jet::FileSystem& files, const std::string& path,
                                                jet::Format format, Schema schema) {
  jet::Database::Create(files, path, format);
  std::shared_ptr<jet::Database> database = jet::Database::Open(files, path, jet::OpenMode::kReadWrite);
  jet::sql::Session session(database);
  for (const std::string_view statement : SchemaStatements(schema)) session.Execute(statement);
  return database;
}

// Patterns that notices may use. 96..500 and the obsolete numbers 506 to 520 are not among them, except where
// the conversion table leads away from them.
void FillReference(jet::Database& database) {
  struct Pattern {
    int id;
    const char* name;
    const char* emi_rcp;
  };
  static constexpr std::array<Pattern, 20> kPatterns{
      {{1, "A-25FR", "E"},        {2, "A-25FR", "R"},        {7, "BEAM-99", "E"},
       {9, "OMNI", "R"},          {14, "PHASED", "E"},       {21, "R2TES", "E"},
       {22, "R2RES", "R"},        {32, "MODTES", "E"},       {33, "MODRES", "R"},
       {46, "R13TES", "E"},       {47, "R13RES", "R"},       {60, "BIFROST-TES1", "E"},
       {61, "BIFROST-TES2", "E"}, {62, "BIFROST-TES3", "E"}, {63, "BIFROST-RES", "R"},
       {75, "C-29", "E"},         {76, "C-29", "R"},         {92, "D-92", "R"},
       {96, "D-96", "E"},         {130, "X-130", "R"}}};
  jet::StatementScope scope(database);
  const auto patterns = database.FindTable("rf_ant_type");
  for (const Pattern& p : kPatterns) {
    patterns->Insert({Value::Integer(p.id), Value::Text(p.name), Value::Text(p.emi_rcp),
                      Value::Integer(p.id % 4), p.id % 3 == 0 ? Value::Null() : Value::Integer(p.id % 3),
                      Value::Integer(1)});
  }
  const auto conversions = database.FindTable("rf_ant_type_convert_rtoe");
  for (const auto& [from, to] :
       std::array<std::pair<int, int>, 4>{{{201, 1}, {202, 2}, {203, 75}, {204, 92}}}) {
    conversions->Insert({Value::Integer(from), Value::Integer(to)});
  }
  scope.Commit();
  database.Checkpoint();
}

void FillTemplate(jet::Database& database) {
  jet::StatementScope scope(database);
  database.FindTable("vnt_ooak")
      ->Insert({Value::Integer(7), Value::Integer(0), Value::Real(38718), Value::Text("Template")});
  scope.Commit();
  database.Checkpoint();
}

// Files on their way: those that are there when this goes are removed, unless everything was finished.
class UnfinishedFiles {
 public:
  explicit UnfinishedFiles(jet::FileSystem& files) : files_(files) {}
  ~UnfinishedFiles() {
    for (const std::string& path : paths_) {
      try {
        if (files_.Exists(path)) files_.Remove(path);
      } catch (const std::exception&) {
        // What cannot be removed stays; the failure that led here is the one to tell.
      }
    }
  }
  UnfinishedFiles(const UnfinishedFiles&) = delete;
  UnfinishedFiles& operator=(const UnfinishedFiles&) = delete;

  // Before a file is made: one that is there already is somebody's and is not touched.
  void Add(const std::string& path) {
    if (files_.Exists(path)) {
      throw jet::Error(jet::ErrorKind::kExists, fmt::format("The file \"{}\" exists already.", path));
    }
    paths_.push_back(path + jet::kJournalSuffix);
    paths_.push_back(path);
  }
  void Keep() { paths_.clear(); }

 private:
  jet::FileSystem& files_;
  std::vector<std::string> paths_;
};

}  // namespace

SampleFiles MakeSample(jet::FileSystem& files, const std::string& folder, const SampleOptions& options,
                       const std::function<void(int)>& progress) {
  if (options.notices < kMinNotices || options.notices > kMaxNotices) {
    throw jet::Error(
        jet::ErrorKind::kInvalid,
        fmt::format("The number of notices must lie between {} and {}.", kMinNotices, kMaxNotices));
  }
  const bool jet4 = options.format == jet::Format::kJet4;
  const auto path = [&](const char* name) {
    return fmt::format("{}/{}.{}", folder, name, jet4 ? "mdb" : "accdb");
  };
  SampleFiles result{path("notices"), path("reference"), path("template"), 0};

  UnfinishedFiles unfinished(files);
  unfinished.Add(result.reference);
  FillReference(*CreateWithSchema(files, result.reference, options.format, Schema::kReference));
  unfinished.Add(result.empty_template);
  FillTemplate(*CreateWithSchema(files, result.empty_template, options.format, Schema::kTemplate));

  unfinished.Add(result.notice);
  const auto database = CreateWithSchema(files, result.notice, options.format, Schema::kNotice);
  NoticeWriter writer(*database, options.seed);
  constexpr int kNoticesPerStatement = 50;
  {
    jet::StatementScope scope(*database);
    writer.WriteDatabaseRows();
    scope.Commit();
  }
  for (int first = 0; first < options.notices; first += kNoticesPerStatement) {
    jet::StatementScope scope(*database);
    const int last = std::min(first + kNoticesPerStatement, options.notices);
    for (int notice = first; notice < last; ++notice) writer.WriteNotice(notice);
    scope.Commit();
    if (progress) progress(last);
  }
  database->Checkpoint();
  unfinished.Keep();
  result.rows = writer.rows();
  return result;
}

}  // namespace vnt::samples
