#include "db/server_provider/server_recordset.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <unordered_set>
#include <utility>

#include "access/base/text.h"
#include "db/access_provider/errors.h"
#include "db/access_provider/values.h"
#include "db/forward_recordset.h"
#include "db/positioned_recordset.h"
#include "db/row_list.h"
#include "db/server_provider/read_ahead.h"

namespace vnt::db {

Value FromServer(Value value, const ServerOutput& column) {
  if (value.is_null()) return value;
  if (column.column_type) return FromEngine(ToColumn(value, *column.column_type), column.column_type);
  switch (column.type) {
    case jet::sql::Type::kBoolean:
      return Value::Boolean(value.ToBoolean());
    case jet::sql::Type::kInteger: {
      if (value.type() == ValueType::kInt16) return Value::Int32(value.ToInt32());
      if (value.type() != ValueType::kInt64) return value;
      const std::int64_t number = value.raw_integer();
      using Limits = std::numeric_limits<std::int32_t>;
      return number < Limits::min() || number > Limits::max()
                 ? value
                 : Value::Int32(static_cast<std::int32_t>(number));
    }
    case jet::sql::Type::kReal:
      return Value::Double(value.ToDouble());
    default:
      return value;
  }
}

std::vector<ServerKey> KeysOf(const ServerSession& session, const ServerQuery& query) {
  std::vector<ServerKey> keys;
  if (!query.base) return keys;
  for (const int column : query.base->key) {
    const ServerColumn& of = query.base->columns[column];
    keys.push_back({of.name, of.type, column});
  }
  if (keys.empty()) {
    const bool numbered = query.base->has_order;
    keys.push_back({numbered ? kOrderColumn : std::string(session.dialect().place_column()),
                    numbered ? jet::ColumnType::kBigInt : jet::ColumnType::kMemo, -1});
  }
  return keys;
}

bool FetchRow(OdbcStatement& statement, const std::vector<ServerOutput>& columns,
              const std::vector<ServerKey>& keys, std::vector<Value>* row) {
  if (!statement.Fetch(row)) return false;
  for (std::size_t i = 0; i < columns.size(); ++i) (*row)[i] = FromServer(std::move((*row)[i]), columns[i]);
  for (std::size_t i = 0; i < keys.size(); ++i) {
    Value& value = (*row)[columns.size() + i];
    value = FromEngine(ToColumn(value, keys[i].type), keys[i].type);
  }
  return true;
}

namespace {

class ServerRecordset final : public PositionedRecordset, public Walk {
 public:
  ServerRecordset(std::shared_ptr<ServerSession> session, ServerQuery query, const RecordsetOptions& options,
                  std::shared_ptr<ReadParts> parts = nullptr, WrittenPart part = {})
      : PositionedRecordset(kServerSource, options.forward_only),
        session_(std::move(session)),
        query_(std::move(query)),
        updatable_(options.updatable && query_.base),
        keys_(KeysOf(*session_, query_)),
        parts_(std::move(parts)),
        part_(std::move(part)) {
    for (const ServerOutput& column : query_.columns)
      fields_.push_back({column.name, updatable_ && column.column >= 0});
  }
  ~ServerRecordset() override {
    std::vector<Walk*>& walks = session_->walks();
    walks.erase(std::remove(walks.begin(), walks.end(), this), walks.end());
  }

  // Asks the server.
  void Fetch() {
    const auto statement = session_->Open(query_.sql, query_.helpers);
    statement->DescribeColumns();
    while (FetchRow(*statement, query_.columns, keys_, &values_)) rows_.Append(values_);
    Begin();
  }

  // Takes rows that have been read already.
  void Take(const std::vector<std::vector<Value>>& rows, std::vector<std::int64_t> places) {
    places_ = std::move(places);
    for (const auto& row : rows) rows_.Append(row);
    Begin();
  }

  std::vector<std::int64_t> Upcoming(std::string_view column, std::int64_t current,
                                     std::size_t most) override;

 private:
  using Key = ServerKey;

  void Begin() {
    values_.assign(fields_.size() + keys_.size(), Value::Null());
    seen_ = Version();
    Start();
    session_->walks().push_back(this);
  }

  std::int64_t Version() const {
    if (!query_.base) return 0;
    return part_.column.empty() ? session_->Version(query_.base->name)
                                : session_->Version(query_.base->name, part_);
  }

  std::int64_t Size() const override { return rows_.size(); }

  bool Load(std::int64_t position) override {
    rows_.Read(position, &values_);
    reached_ = position;
    return !query_.base || seen_ == Version() || ReadAgain(position);
  }

  // Somebody has changed the table since.
  bool ReadAgain(std::int64_t position) {
    const SqlDialect& dialect = session_->dialect();
    std::string list;
    for (const ServerOutput& column : query_.columns) {
      if (column.column < 0) return true;  // a computed value stays what it was
      const ServerColumn& of = query_.base->columns[column.column];
      list += dialect.Read(dialect.Name(of.name), of.type) + ", ";
    }
    for (const Key& key : keys_) list += dialect.Name(key.name) + ", ";
    list.resize(list.size() - 2);
    const auto statement =
        session_->Open("SELECT " + list + " FROM " + dialect.Name(query_.base->name) + WhereKey());
    statement->DescribeColumns();
    if (!FetchRow(*statement, query_.columns, keys_, &values_)) return false;
    rows_.Replace(position, values_);
    return true;
  }

  // Finds the row in values_.
  std::string WhereKey() const {
    const SqlDialect& dialect = session_->dialect();
    std::string where;
    for (std::size_t i = 0; i < keys_.size(); ++i) {
      const Value& value = values_[fields_.size() + i];
      where += (i == 0 ? " WHERE " : " AND ") + dialect.Name(keys_[i].name) + " = " +
               dialect.Literal(ToColumn(value, keys_[i].type), keys_[i].type);
    }
    return where;
  }

  // The parts that a change of the row in values_ is confined to.
  std::vector<WrittenPart> Parts(const FieldChanges* changes) const {
    std::vector<WrittenPart> parts;
    const auto add = [&](int column, const Value& value) {
      if (column < 0 || value.is_null()) return;
      const ServerColumn& of = query_.base->columns[column];
      const bool known =
          std::ranges::any_of(parts, [&](const WrittenPart& p) { return p.column == of.name; });
      if (known || (of.type != jet::ColumnType::kLong && of.type != jet::ColumnType::kInteger)) return;
      parts.push_back({of.name, value.ToInt32()});
    };
    const auto is_changed = [&](int column) {
      return changes != nullptr && std::ranges::any_of(*changes, [&](const auto& change) {
               return query_.columns[change.first].column == column;
             });
    };
    for (std::size_t i = 0; i < fields_.size() + keys_.size(); ++i) {
      const int column = i < fields_.size() ? query_.columns[i].column : keys_[i - fields_.size()].column;
      if (!is_changed(column)) add(column, values_[i]);
    }
    return parts;
  }

  // Sends a change of one row: "head row tail", `row` being what differs from row to row.
  void Write(std::string head, std::string row, std::string tail, bool repeats,
             const std::vector<WrittenPart>& parts) {
    // What others have done in between is still to be read.
    const bool fresh = seen_ == Version();
    if (session_->defers()) {
      QueuedChange change;
      change.table = query_.base->name;
      change.head = std::move(head);
      change.row = std::move(row);
      change.tail = std::move(tail);
      change.alone = false;
      change.counted = false;
      change.repeats = repeats;
      for (const WrittenPart& part : parts) {
        if (query_.base->Divides(part.column)) change.parts.push_back(part);
      }
      session_->Enqueue(std::move(change));
    } else if (session_->Run(head + row + tail) == 0) {
      throw DbError(kErrRowGone, kServerSource,
                    "The current record of table \"" + query_.base->name + "\" has been deleted meanwhile.");
    }
    session_->NoteWrite(query_.base->name, parts);
    seen_before_ = seen_;
    if (fresh) seen_ = Version();
  }

  // The key of the row in values_, as part of a list of values, and what compares it.
  std::string KeyValues() const {
    std::string list;
    for (std::size_t i = 0; i < keys_.size(); ++i) {
      const Value& value = values_[fields_.size() + i];
      list += (i == 0 ? "" : ", ") + Typed(ToColumn(value, keys_[i].type), keys_[i].type, keys_[i].column);
    }
    return list;
  }
  std::string MatchKey() const {
    std::string match;
    for (std::size_t i = 0; i < keys_.size(); ++i) {
      match += (i == 0 ? " WHERE u." : " AND u.") + session_->dialect().Name(keys_[i].name) + " = v.k" +
               std::to_string(i);
    }
    return match;
  }
  std::string KeyNames() const {
    std::string names;
    for (std::size_t i = 0; i < keys_.size(); ++i) names += (i == 0 ? "k" : ", k") + std::to_string(i);
    return names;
  }
  std::string Typed(const jet::Value& value, jet::ColumnType type, int column) const {
    const SqlDialect& dialect = session_->dialect();
    const std::string literal = dialect.Literal(value, type);
    if (column >= 0) return dialect.Cast(literal, query_.base->columns[column]);
    ServerColumn number;
    number.type = type;
    return query_.base->has_order ? dialect.Cast(literal, number) : dialect.PlaceConstant(literal);
  }

  // The change of a field, and of what finds the row again.
  void Keep(int field, const jet::Value& value, jet::ColumnType type) {
    values_[field] = FromEngine(value, type);
    for (std::size_t i = 0; i < keys_.size(); ++i) {
      if (keys_[i].column == query_.columns[field].column) values_[fields_.size() + i] = values_[field];
    }
  }

  void UpdateRow(std::int64_t position, const FieldChanges& changes) override {
    Translated([&] {
      const SqlDialect& dialect = session_->dialect();
      rows_.Read(position, &values_);
      std::string sets, names = KeyNames(), row = "(" + KeyValues();
      std::vector<std::pair<int, jet::Value>> kept;
      for (const auto& [field, value] : changes) {
        const int at = query_.columns[field].column;
        const ServerColumn& column = query_.base->columns[at];
        kept.emplace_back(field, ToColumn(*value, column.type));
        const std::string name = "s" + std::to_string(kept.size());
        sets += (sets.empty() ? "" : ", ") + dialect.Name(column.name) + " = v." + name;
        names += ", " + name;
        row += ", " + Typed(kept.back().second, column.type, at);
      }
      Write("UPDATE " + dialect.Name(query_.base->name) + " AS u SET " + sets + " FROM (VALUES ", row + ")",
            ") AS v(" + names + ")" + MatchKey(), /*repeats=*/true, Parts(&changes));
      const bool whole = parts_ && seen_ == Version();
      for (const auto& [field, value] : kept)
        Keep(field, value, query_.base->columns[query_.columns[field].column].type);
      rows_.Replace(position, values_);
      if (whole) KeepAhead(position, kept);
    });
  }

  // What has been read ahead holds this row, too: with the change it is as good as before.
  void KeepAhead(std::int64_t position, const std::vector<std::pair<int, jet::Value>>& kept) {
    if (position >= std::ssize(places_)) return;
    for (const auto& [field, value] : kept) {
      const std::string& name = query_.base->columns[query_.columns[field].column].name;
      if (std::ranges::find(parts_->conditions, name) != parts_->conditions.end()) return;
      if (std::ranges::find(query_.base->key, query_.columns[field].column) != query_.base->key.end()) return;
    }
    ReadParts::Part& part = parts_->parts[part_.number];
    if (part.version != seen_before_) return;
    std::vector<Value> row(parts_->width);
    parts_->rows.Read(places_[position], &row);
    for (const auto& [field, value] : kept) row[field] = values_[field];
    parts_->rows.Replace(places_[position], row);
    part.version = seen_;
  }

  void InsertRow(const FieldChanges& changes) override {
    Translated([&] {
      const SqlDialect& dialect = session_->dialect();
      std::string names, literals;
      std::vector<Value> row(fields_.size() + keys_.size(), Value::Null());
      values_ = row;
      for (const auto& [field, value] : changes) {
        const ServerColumn& column = query_.base->columns[query_.columns[field].column];
        const jet::Value stored = ToColumn(*value, column.type);
        names += (names.empty() ? "" : ", ") + dialect.Name(column.name);
        literals += (literals.empty() ? "" : ", ") + dialect.Literal(stored, column.type);
        Keep(field, stored, column.type);
      }
      const std::string table = dialect.Name(query_.base->name);
      if (names.empty()) {
        Write("INSERT INTO " + table + " DEFAULT VALUES", "", "", true, {});
      } else {
        Write("INSERT INTO " + table + " (" + names + ") VALUES ", "(" + literals + ")", "", false,
              Parts(nullptr));
      }
      rows_.Append(values_);
    });
  }

  void DeleteRow(std::int64_t position) override {
    Translated([&] {
      rows_.Read(position, &values_);
      Write("DELETE FROM " + session_->dialect().Name(query_.base->name) + " AS u USING (VALUES ",
            "(" + KeyValues() + ")", ") AS v(" + KeyNames() + ")" + MatchKey(), false, Parts(nullptr));
    });
  }

  void RequireUpdatable() const override {
    if (!updatable_) ThrowNotUpdatable(kServerSource);
  }

  void RequireOpen() const override { session_->odbc().RequireUsable(); }

  std::shared_ptr<ServerSession> session_;
  ServerQuery query_;
  bool updatable_;
  std::vector<Key> keys_;
  std::shared_ptr<ReadParts> parts_;  // where the rows come from; null: from a query of their own
  WrittenPart part_;                  // the one that they are
  std::vector<std::int64_t> places_;  // of the rows there
  RowList rows_;
  std::int64_t seen_ = 0, seen_before_ = 0;  // versions of the part: now, and before the last change
  std::int64_t reached_ = 0;
};

std::vector<std::int64_t> ServerRecordset::Upcoming(std::string_view column, std::int64_t current,
                                                    std::size_t most) {
  std::vector<std::int64_t> numbers;
  const auto field =
      std::ranges::find_if(fields_, [&](const RecordsetField& f) { return jet::EqualNames(f.name, column); });
  if (field == fields_.end() || Eof() || Bof()) return numbers;
  const std::size_t at = field - fields_.begin();
  const auto number_of = [&](const Value& value) -> std::optional<std::int64_t> {
    if (value.type() != ValueType::kInt32 && value.type() != ValueType::kInt16) return {};
    return value.raw_integer();
  };
  std::unordered_set<std::int64_t> known;
  const auto add = [&](const Value& value) {
    if (const auto number = number_of(value); number && known.insert(*number).second)
      numbers.push_back(*number);
  };
  if (number_of(values_[at]) != current) return numbers;
  std::vector<Value> row(values_.size());
  for (std::int64_t i = reached_; i < rows_.size() && numbers.size() < most; ++i) {
    rows_.Read(i, &row);
    add(row[at]);
  }
  if (!parts_) return numbers;
  // Whoever goes through the parts goes on with the next one.
  row.resize(parts_->width);
  auto next = std::ranges::find(parts_->order, part_.number);
  while (next != parts_->order.end() && ++next != parts_->order.end() && numbers.size() < most) {
    for (const std::int64_t position : parts_->parts[*next].rows) {
      parts_->rows.Read(position, &row);
      add(row[at]);
    }
  }
  return numbers;
}

}  // namespace

std::unique_ptr<ProviderRecordset> OpenServerRecordset(std::shared_ptr<ServerSession> session,
                                                       ServerQuery query, const RecordsetOptions& options) {
  auto recordset = std::make_unique<ServerRecordset>(std::move(session), std::move(query), options);
  recordset->Fetch();
  return recordset;
}

std::unique_ptr<ProviderRecordset> OpenReadRecordset(std::shared_ptr<ServerSession> session,
                                                     std::shared_ptr<ReadParts> parts, WrittenPart part,
                                                     const std::vector<std::vector<Value>>& rows,
                                                     std::vector<std::int64_t> places,
                                                     const RecordsetOptions& options) {
  ServerQuery query = parts->query;
  auto recordset = std::make_unique<ServerRecordset>(std::move(session), std::move(query), options,
                                                     std::move(parts), std::move(part));
  recordset->Take(rows, std::move(places));
  return recordset;
}

}  // namespace vnt::db
