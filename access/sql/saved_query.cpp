// A query's rows in MSysQueries, by Attribute (the meaning of attributes and flags as seen in files of
// Access):
//
//   1    Flag: kind of a query that is no select query
//   2    a parameter
//   3    Flag: 1 all columns (*), 2 DISTINCT, 8 DISTINCTROW, 16 TOP (Name1: number), 32 PERCENT
//   4    Name1: another database
//   5    Name1: a table or query; or Expression: a select statement; Name2: its alias
//   6    Expression: an output column; Name1 or Name2: its alias
//   7    a join: Name1, Name2 the two tables, Expression the condition; Flag 1 inner, 2 left, 3 right
//   8    Expression: the condition of WHERE
//   9    Expression: a column of GROUP BY
//   10   Expression: the condition of HAVING
//   11   Expression: a column of ORDER BY; Name1 "D": descending
//
// Order, a big-endian number, tells rows of one attribute apart.
#include "access/sql/saved_query.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "access/base/error.h"
#include "access/base/text.h"

namespace jet::sql {
namespace {

constexpr std::int16_t kQueryObject = 5;
constexpr std::uint32_t kKindMask = 0xF0;

struct Part {
  std::int64_t attribute = 0;
  std::string order;
  std::string name1, name2, expression;
  std::int64_t flag = 0;
};

[[noreturn]] void Refuse(std::string_view name, const std::string& why) {
  throw Error(ErrorKind::kNotSupported, fmt::format("The query '{}' cannot be read: {}", name, why));
}

std::vector<Part> ReadParts(Database& database, std::int32_t id) {
  std::vector<Part> parts;
  const std::shared_ptr<Table> table = database.FindTable("MSysQueries");
  if (!table) return parts;
  const TableDef& def = table->def();
  const auto column = [&](const char* name) {
    const int found = def.FindColumn(name);
    if (found < 0) throw Error(ErrorKind::kCorrupt, fmt::format("MSysQueries has no column '{}'.", name));
    return found;
  };
  const int object = column("ObjectId"), attribute = column("Attribute"), order = column("Order");
  const int name1 = column("Name1"), name2 = column("Name2"), expression = column("Expression"),
            flag = column("Flag");
  TableCursor cursor(*table);
  Row row;
  RowId row_id;
  while (cursor.Next(&row, &row_id)) {
    if (row.IsNull(object) || row.GetInteger(object) != id) continue;
    const auto text = [&](int c) { return row.IsNull(c) ? std::string() : row.Get(c).bytes(); };
    Part part;
    part.attribute = row.IsNull(attribute) ? 0 : row.GetInteger(attribute);
    part.order = text(order);
    part.name1 = text(name1), part.name2 = text(name2), part.expression = text(expression);
    part.flag = row.IsNull(flag) ? 0 : row.GetInteger(flag);
    parts.push_back(std::move(part));
  }
  std::stable_sort(parts.begin(), parts.end(), [](const Part& a, const Part& b) {
    return a.attribute != b.attribute ? a.attribute < b.attribute : a.order < b.order;
  });
  return parts;
}

std::string Bracketed(const std::string& name) { return "[" + name + "]"; }

// Tables that are joined already.
struct Joined {
  std::vector<std::string> names;
  std::string sql;
  bool is_join = false;
};

class QueryText {
 public:
  QueryText(std::string_view name, const std::vector<Part>& parts) : name_(name), parts_(parts) {}

  std::string Make() {
    for (const Part& part : parts_) {
      switch (part.attribute) {
        case 1:
          if (part.flag > 1) Refuse(name_, "it is no select query.");
          break;
        case 2:
          Refuse(name_, "it has parameters.");
        case 3:
          TakeOptions(part);
          break;
        case 4:
          if (!part.name1.empty() || !part.expression.empty()) Refuse(name_, "it reads another database.");
          break;
        case 5:
          TakeTable(part);
          break;
        case 6:
          TakeColumn(part);
          break;
        case 7:
          TakeJoin(part);
          break;
        case 8:
          where_ = " WHERE " + part.expression;
          break;
        case 9:
          Append(part.expression, ", ", &group_by_);
          break;
        case 10:
          having_ = " HAVING " + part.expression;
          break;
        case 11:
          Append(part.expression + (LowerText(part.name1) == "d" ? " DESC" : ""), ", ", &order_by_);
          break;
        default:
          break;
      }
    }
    if (all_columns_) Append("*", ", ", &columns_);
    if (columns_.empty() || joined_.empty()) Refuse(name_, "its definition is not understood.");
    std::string from;
    for (const Joined& j : joined_) Append(j.sql, ", ", &from);
    return "SELECT " + options_ + columns_ + " FROM " + from + where_ +
           (group_by_.empty() ? "" : " GROUP BY " + group_by_) + having_ +
           (order_by_.empty() ? "" : " ORDER BY " + order_by_);
  }

 private:
  static void Append(const std::string& item, const char* separator, std::string* list) {
    *list += (list->empty() ? "" : separator) + item;
  }

  void TakeOptions(const Part& part) {
    all_columns_ = (part.flag & 1) != 0;
    if ((part.flag & 2) != 0) options_ += "DISTINCT ";
    if ((part.flag & 8) != 0) options_ += "DISTINCTROW ";
    if ((part.flag & 16) != 0) options_ += "TOP " + part.name1 + ((part.flag & 32) != 0 ? " PERCENT " : " ");
  }

  void TakeColumn(const Part& part) {
    const std::string& alias = part.name1.empty() ? part.name2 : part.name1;
    Append(part.expression + (alias.empty() ? "" : " AS " + Bracketed(alias)), ", ", &columns_);
  }

  void TakeTable(const Part& part) {
    std::string expression = part.expression;
    expression.erase(expression.find_last_not_of("; \r\n\t") + 1);
    Joined j;
    j.names = {part.name2.empty() ? part.name1 : part.name2};
    j.sql = expression.empty() ? Bracketed(part.name1) : "(" + expression + ")";
    if (!part.name2.empty()) j.sql += " AS " + Bracketed(part.name2);
    joined_.push_back(std::move(j));
  }

  std::size_t PlaceOf(const std::string& table) const {
    for (std::size_t i = 0; i < joined_.size(); ++i) {
      for (const std::string& name : joined_[i].names) {
        if (EqualNames(name, table)) return i;
      }
    }
    Refuse(name_, fmt::format("it joins '{}', which is none of its tables.", table));
  }

  void TakeJoin(const Part& part) {
    const std::size_t left = PlaceOf(part.name1), right = PlaceOf(part.name2);
    Joined& a = joined_[left];
    if (left == right) {
      // One more condition of the join before, which ends with its condition in parentheses.
      if (!a.is_join) Refuse(name_, "its joins are not understood.");
      a.sql.insert(a.sql.size() - 1, " AND (" + part.expression + ")");
      return;
    }
    const Joined& b = joined_[right];
    const char* word = part.flag == 2 ? " LEFT JOIN " : part.flag == 3 ? " RIGHT JOIN " : " INNER JOIN ";
    const auto operand = [](const Joined& j) { return j.is_join ? "(" + j.sql + ")" : j.sql; };
    a.sql = operand(a) + word + operand(b) + " ON ((" + part.expression + "))";
    a.names.insert(a.names.end(), b.names.begin(), b.names.end());
    a.is_join = true;
    joined_.erase(joined_.begin() + right);
  }

  std::string_view name_;
  const std::vector<Part>& parts_;
  bool all_columns_ = false;
  std::string options_, columns_, where_, group_by_, having_, order_by_;
  std::vector<Joined> joined_;
};

}  // namespace

std::optional<std::string> SavedQueryText(Database& database, std::string_view name) {
  for (const CatalogEntry& entry : database.Catalog()) {
    if (entry.type != kQueryObject || !EqualNames(entry.name, name)) continue;
    if ((entry.flags & kKindMask) != 0) Refuse(entry.name, "it is no select query.");
    return QueryText(entry.name, ReadParts(database, entry.id)).Make();
  }
  return {};
}

}  // namespace jet::sql
