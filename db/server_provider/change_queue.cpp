#include "db/server_provider/change_queue.h"

#include <algorithm>
#include <utility>

namespace vnt::db {
namespace {

constexpr std::size_t kLookBack = 8;

// Whether no row can have all numbers of both.
bool Exclude(const std::vector<WrittenPart>& a, const std::vector<WrittenPart>& b) {
  return std::ranges::any_of(a, [&](const WrittenPart& part) {
    return std::ranges::any_of(b, [&](const WrittenPart& other) {
      return part.number != other.number && part.column == other.column;
    });
  });
}

}  // namespace

bool ChangeQueue::IsApart(const Group& group, const QueuedChange& change) {
  if (group.first.alone) return false;
  const auto reads = [](const QueuedChange& reader, const QueuedChange& writer) {
    return std::ranges::find(reader.reads, writer.table) != reader.reads.end();
  };
  if (reads(group.first, change) || reads(change, group.first)) return false;
  if (group.first.table != change.table) return true;
  // The newest ones are the likeliest to meet it.
  return std::all_of(group.parts.rbegin(), group.parts.rend(),
                     [&](const std::vector<WrittenPart>& parts) { return Exclude(parts, change.parts); });
}

void ChangeQueue::Add(QueuedChange change) {
  ++changes_;
  bytes_ += change.row.size() + 2;
  if (!change.alone && change.joins) {
    std::size_t looked = 0;
    for (auto group = groups_.rbegin(); group != groups_.rend() && looked < kLookBack; ++group, ++looked) {
      const QueuedChange& first = group->first;
      const bool same = !first.alone && first.joins && first.counted == change.counted &&
                        first.head == change.head && first.tail == change.tail;
      if (same && !(change.repeats && group->known.contains(change.row))) {
        group->rows += ", " + change.row;
        if (change.repeats) group->known.insert(change.row);
        group->parts.push_back(std::move(change.parts));
        return;
      }
      if (!IsApart(*group, change)) break;
    }
  }
  bytes_ += change.head.size() + change.tail.size();
  Group group;
  group.rows = change.row;
  if (change.repeats) group.known.insert(change.row);
  group.parts.push_back(change.parts);
  group.first = std::move(change);
  groups_.push_back(std::move(group));
}

void ChangeQueue::Clear() {
  groups_.clear();
  changes_ = bytes_ = 0;
}

std::string ChangeQueue::Text() const {
  std::string text;
  text.reserve(bytes_);
  for (const Group& group : groups_) {
    const QueuedChange& first = group.first;
    if (!first.count.empty()) text += first.count + "; ";
    text += (first.alone || !first.joins ? first.head : first.head + group.rows + first.tail) + "; ";
  }
  return text;
}

std::vector<bool> ChangeQueue::Counted() const {
  std::vector<bool> counted;
  for (const Group& group : groups_) {
    if (!group.first.count.empty()) counted.push_back(true);
    counted.push_back(group.first.counted && group.first.count.empty());
  }
  return counted;
}

}  // namespace vnt::db
