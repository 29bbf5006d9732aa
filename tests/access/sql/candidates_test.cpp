// Statements that no index serves and that are sent again and again: what they find must be what a plain
// search of all rows finds, whatever came between.
#include <algorithm>
#include <array>
#include <random>

#include "sql_fixture.h"

namespace jet::sql {
namespace {

struct ModelRow {
  int id = 0, g = 0;
  const char* kind = nullptr;
  std::string note;
};

// Texts in all the forms that trim and ucase tell apart or not.
constexpr const char* kKinds[] = {"MOTYP", "MOTYP ", " SMK", "smk", "SMK",   "AFRGN",    "AFRGN ",
                                  "SA",    "sa",     "Sa ",  "",    nullptr, "\xC3\xA9", "\xC3\x89"};

std::string Trimmed(const char* text) {
  std::string s = text;
  s.erase(0, std::min(s.find_first_not_of(' '), s.size()));
  s.erase(s.find_last_not_of(' ') + 1);
  return s;
}

class CandidatesTest : public SqlTest {
 protected:
  void SetUp() override {
    SqlTest::SetUp();
    Run(
        {"CREATE TABLE d (id LONG NOT NULL, g LONG, kind TEXT(8), [note] TEXT(20), CONSTRAINT pk PRIMARY KEY "
         "(id))",
         "CREATE INDEX ix_g ON d (g)",
         "CREATE TABLE o (g LONG NOT NULL, n LONG, CONSTRAINT pk_o PRIMARY KEY (g))"});
    for (int g = 0; g < 20; ++g) Run({fmt::format("INSERT INTO o VALUES ({}, {})", g, g / 4)});
  }

  void Insert(int count) {
    for (int i = 0; i < count; ++i) {
      ModelRow row{next_id_++, static_cast<int>(random_() % 20), kKinds[random_() % std::size(kKinds)], "-"};
      Run({fmt::format("INSERT INTO d VALUES ({}, {}, {}, '-')", row.id, row.g,
                       row.kind == nullptr ? "null" : fmt::format("'{}'", row.kind))});
      model_.push_back(row);
    }
  }

  template <typename Matches>
  std::string DeleteInModel(Matches matches) {
    return std::to_string(
        std::erase_if(model_, [&](const ModelRow& r) { return r.kind != nullptr && matches(r); }));
  }
  template <typename Matches>
  std::string MarkInModel(const std::string& note, Matches matches) {
    int count = 0;
    for (ModelRow& r : model_) {
      if (r.kind == nullptr || !matches(r)) continue;
      r.note = note;
      ++count;
    }
    return std::to_string(count);
  }
  std::string ModelText() const {
    std::string text;
    for (const ModelRow& r : model_) text += fmt::format("{}{}|'{}'", text.empty() ? "" : "; ", r.id, r.note);
    return text;
  }

  std::mt19937 random_{7};
  int next_id_ = 1;
  std::vector<ModelRow> model_;
};

TEST_F(CandidatesTest, RepeatedStatementsFindWhatAWholeSearchFinds) {
  for (int round = 0; round < 60; ++round) {
    SCOPED_TRACE(round);
    Insert(static_cast<int>(random_() % 12));
    const int n = static_cast<int>(random_() % 5);
    switch (random_() % 4) {
      case 0:  // the alternatives bind as written: the number restricts the last one only
        EXPECT_EQ(Do(fmt::format("delete from d where trim(kind) = 'MOTYP' or  trim(kind) = 'SMK' or "
                                 "trim(kind) = 'AFRGN' and g in "
                                 "(select g from o where n = {})",
                                 n)),
                  DeleteInModel([&](const ModelRow& r) {
                    const std::string kind = Trimmed(r.kind);
                    return kind == "MOTYP" || kind == "SMK" || (kind == "AFRGN" && r.g / 4 == n);
                  }));
        break;
      case 1:
        EXPECT_EQ(
            Do(fmt::format("update d set [note] = 'u{}' where ucase(kind) = 'SA' or kind = 'smk' and g = {}",
                           n, n)),
            MarkInModel(fmt::format("u{}", n), [&](const ModelRow& r) {
              const std::string kind = r.kind;
              return kind == "SA" || kind == "sa" || (kind == "smk" && r.g == n);
            }));
        break;
      case 2:
        EXPECT_EQ(Do(fmt::format("update d set [note] = 'e' where ucase(kind) = '\xC3\x89' and g > {}", n)),
                  MarkInModel("e", [&](const ModelRow& r) {
                    return (std::string(r.kind) == "\xC3\xA9" || std::string(r.kind) == "\xC3\x89") &&
                           r.g > n;
                  }));
        break;
      default:
        EXPECT_EQ(Do(fmt::format("delete from d where (kind = 'SA' or trim(kind) = 'Sa') and g = {}", n)),
                  DeleteInModel([&](const ModelRow& r) {
                    return (std::string(r.kind) == "SA" || std::string(r.kind) == "Sa ") && r.g == n;
                  }));
        // A statement that fails must not leave its rows behind as candidates.
        EXPECT_NE(Do("update d set kind = 'MOTYP', id = 1 where id >= 0").find("error"), std::string::npos);
    }
    ASSERT_EQ(Ask("select id, [note] from d order by id"), ModelText());
  }
}

// No index serves these; what a query finds is not looked up among candidates.
TEST_F(CandidatesTest, AlternativesWithoutAnIndex) {
  Run({"CREATE TABLE f (id LONG, g LONG, kind TEXT(8), [note] TEXT(20))"});
  const auto fill = [&] {
    for (int i = 0; i < 30; ++i) {
      const char* kind = kKinds[random_() % std::size(kKinds)];
      Run({fmt::format("INSERT INTO f VALUES ({}, {}, {}, '-')", next_id_++, random_() % 4,
                       kind == nullptr ? "null" : fmt::format("'{}'", kind))});
    }
  };
  const auto term = [&]() -> std::string {
    const char* text = std::array{"SA", "Sa", "SMK", "MOTYP", "smk ", ""}[random_() % 6];
    switch (random_() % 7) {
      case 0:
      case 1:
        return fmt::format("kind = '{}'", text);
      case 2:
        return fmt::format("trim(kind) = '{}'", text);
      case 3:
        return fmt::format("ucase(kind) = '{}'", text);
      case 4:
        return fmt::format("kind in ('{}', 'sa')", text);
      case 5:
        return "kind is null";
      default:
        return fmt::format("g = {}", random_() % 4);
    }
  };
  const std::vector<std::string> fixed = {"kind = 'SA' or trim(kind) = 'Sa'",
                                          "trim(kind) = 'SMK' or kind = 'SA'",
                                          "kind = 'SMK' or trim(kind) = 'SMK' or kind = 'sa'"};
  int found = 0;
  for (int round = 0; round < 150; ++round) {
    if (round % 5 == 0) fill();
    std::string where = round < 30 ? fixed[random_() % fixed.size()] : term();
    for (unsigned i = 0; round >= 30 && i < random_() % 4; ++i)
      where =
          (random_() % 4 == 0 ? "(" + where + ")" : where) + (random_() % 3 == 0 ? " and " : " or ") + term();
    const std::string rows = Ask("select id from f where " + where);
    const auto count = rows.empty() ? 0 : std::count(rows.begin(), rows.end(), ';') + 1;
    found += static_cast<int>(count);
    // Twice, so that the second one meets candidates that the first one changed.
    for (const char* note : {"m", "n"}) {
      ASSERT_EQ(Do(fmt::format("update f set [note] = '{}{}' where {}", note, round, where)),
                std::to_string(count))
          << where;
    }
    ASSERT_EQ(Ask(fmt::format("select id from f where [note] = 'n{}'", round)), rows) << where;
    if (round % 3 != 0) continue;
    ASSERT_EQ(Do("delete from f where " + where), std::to_string(count)) << where;
    ASSERT_EQ(Ask("select id from f where " + where), "") << where;
  }
  EXPECT_GT(found, 500);
}

}  // namespace
}  // namespace jet::sql
