// Which changes are put together, and which must keep their places.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "db/server_provider/change_queue.h"

namespace vnt::db {
namespace {

QueuedChange Change(const std::string& table, const std::string& kind, int group, bool repeats = false) {
  QueuedChange change;
  change.table = table;
  change.head = kind + " " + table + " ";
  change.row = std::to_string(group);
  change.parts = {{"grp_id", group}};
  change.alone = false;
  change.repeats = repeats;
  return change;
}

QueuedChange Alone(const std::string& sql) {
  QueuedChange change;
  change.table = "t";
  change.head = sql;
  return change;
}

std::string TextOf(const std::vector<QueuedChange>& changes) {
  ChangeQueue queue;
  for (const QueuedChange& change : changes) queue.Add(change);
  return queue.Text();
}

TEST(ChangeQueue, PutsChangesOfOneKindTogetherWhereTheyMayMeet) {
  // Rows of a group are deleted and stored anew, group by group: two statements.
  EXPECT_EQ(
      TextOf({Change("t", "del", 1), Change("t", "ins", 1), Change("t", "del", 2), Change("t", "ins", 2)}),
      "del t 1, 2; ins t 1, 2; ");
  // A deletion must not pass what was stored in its own group.
  EXPECT_EQ(TextOf({Change("t", "del", 1), Change("t", "ins", 1), Change("t", "del", 1)}),
            "del t 1; ins t 1; del t 1; ");
  // Other tables do not matter, unless they are read.
  EXPECT_EQ(TextOf({Change("t", "del", 1), Change("u", "ins", 1), Change("t", "del", 1)}),
            "del t 1, 1; ins u 1; ");
  QueuedChange reader = Change("u", "ins", 1);
  reader.reads = {"t"};
  EXPECT_EQ(TextOf({Change("t", "del", 1), reader, Change("t", "del", 2)}), "del t 1; ins u 1; del t 2; ");
  // Nothing passes a statement that may do anything.
  EXPECT_EQ(TextOf({Change("t", "del", 1), Alone("any"), Change("t", "del", 2)}), "del t 1; any; del t 2; ");
  // A change that counts from what the row was must not stand twice for it.
  EXPECT_EQ(TextOf({Change("t", "upd", 1, true), Change("t", "upd", 2, true), Change("t", "upd", 1, true)}),
            "upd t 1, 2; upd t 1; ");
  // Without numbers that divide the rows, the order stays.
  QueuedChange undivided = Change("t", "ins", 1);
  undivided.parts.clear();
  EXPECT_EQ(TextOf({Change("t", "del", 1), undivided, Change("t", "del", 2)}), "del t 1; ins t 1; del t 2; ");
}

TEST(ChangeQueue, TellsWhichStatementsAreCounted) {
  ChangeQueue queue;
  QueuedChange counted = Alone("update");
  counted.count = "select count";
  queue.Add(counted);
  QueuedChange silent = Change("t", "ins", 1);
  silent.counted = false;
  queue.Add(silent);
  EXPECT_EQ(queue.Text(), "select count; update; ins t 1; ");
  EXPECT_EQ(queue.Counted(), (std::vector<bool>{true, false, false}));
  queue.Clear();
  EXPECT_TRUE(queue.empty());
}

}  // namespace
}  // namespace vnt::db
