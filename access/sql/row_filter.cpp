#include "access/sql/row_filter.h"

#include <algorithm>

#include "access/base/interruption.h"
#include "access/base/text.h"

namespace jet::sql {
namespace {

bool IsText(const Expr& e) {
  return e.kind == ExprKind::kConstant && e.lifted < 0 && !e.is_date && e.value.kind() == ValueKind::kText;
}

// Position of a text column that the expression names without doubt, or -1.
int TextColumn(const Expr& e, const Table& table) {
  if (e.kind != ExprKind::kColumn) return -1;
  const int column = table.def().FindColumn(e.name);
  if (column < 0) return -1;
  const ColumnType type = table.def().columns[column].type;
  return type == ColumnType::kText || type == ColumnType::kMemo ? column : -1;
}

}  // namespace

std::unique_ptr<RowFilter> RowFilter::Make(const Expr& where, const Table& table) {
  auto filter = std::make_unique<RowFilter>();
  filter->root_ = Compile(where, table);
  return IsServedBySearch(filter->root_) ? nullptr : std::move(filter);
}

bool RowFilter::Decides(const Expr& condition, const Table& table) {
  const Node node = Compile(condition, table);
  return node.kind == Kind::kIsIn && (node.change == Change::kNone || node.change == Change::kTrim);
}

bool RowFilter::IsServedBySearch(const Node& node) {
  switch (node.kind) {
    case Kind::kTrue:
    case Kind::kIsNull:
      return true;
    case Kind::kIsIn:
      return node.change == Change::kNone && node.texts.size() == 1;
    case Kind::kAnd:
      return std::all_of(node.parts.begin(), node.parts.end(), IsServedBySearch);
    case Kind::kOr:
      return false;
  }
  return true;
}

RowFilter::Node RowFilter::CompileIsIn(const Expr& subject, const Expr* const* texts, std::size_t count,
                                       const Table& table) {
  Node node;
  node.column = TextColumn(subject, table);
  if (node.column < 0 && subject.kind == ExprKind::kFunction && subject.args.size() == 1) {
    const std::string name = LowerText(subject.name);
    node.change = name == "trim"    ? Change::kTrim
                  : name == "ucase" ? Change::kUpper
                  : name == "lcase" ? Change::kLower
                                    : Change::kNone;
    if (node.change != Change::kNone) node.column = TextColumn(*subject.args[0], table);
  }
  if (node.column < 0 || !std::all_of(texts, texts + count, [](const Expr* e) { return IsText(*e); }))
    return {};
  node.kind = Kind::kIsIn;
  for (std::size_t i = 0; i < count; ++i) node.texts.push_back(texts[i]->value.bytes());
  return node;
}

// Adds a part to a conjunction or disjunction; comparisons of one column in a disjunction become one.
void RowFilter::Merge(Node part, Node* node) {
  if (part.kind == node->kind) {
    for (Node& inner : part.parts) Merge(std::move(inner), node);
    return;
  }
  if (node->kind == Kind::kOr && part.kind == Kind::kIsIn) {
    for (Node& other : node->parts) {
      if (other.kind != Kind::kIsIn || other.column != part.column || other.change != part.change) continue;
      other.texts.insert(other.texts.end(), part.texts.begin(), part.texts.end());
      return;
    }
  }
  node->parts.push_back(std::move(part));
}

RowFilter::Node RowFilter::Compile(const Expr& e, const Table& table) {
  switch (e.kind) {
    case ExprKind::kLogic: {
      if (e.op != Op::kAnd && e.op != Op::kOr) return {};
      Node node;
      node.kind = e.op == Op::kAnd ? Kind::kAnd : Kind::kOr;
      for (const ExprPtr& arg : e.args) {
        Node part = Compile(*arg, table);
        if (part.kind != Kind::kTrue) {
          Merge(std::move(part), &node);
        } else if (e.op == Op::kOr) {
          return {};
        }
      }
      if (node.parts.empty()) return {};
      return node;
    }
    case ExprKind::kCompare: {
      if (e.op != Op::kEqual) return {};
      const bool swapped = IsText(*e.args[0]);
      const Expr* text = e.args[swapped ? 0 : 1].get();
      return CompileIsIn(*e.args[swapped ? 1 : 0], &text, 1, table);
    }
    case ExprKind::kInList: {
      if (e.negated) return {};
      std::vector<const Expr*> texts;
      for (std::size_t i = 1; i < e.args.size(); ++i) texts.push_back(e.args[i].get());
      return CompileIsIn(*e.args[0], texts.data(), texts.size(), table);
    }
    case ExprKind::kIsNull: {
      Node node;
      node.column = TextColumn(*e.args[0], table);
      if (e.negated || node.column < 0) return {};
      node.kind = Kind::kIsNull;
      return node;
    }
    default:
      return {};
  }
}

bool RowFilter::MayHold(const Row& row) const { return MayHold(root_, row); }

bool RowFilter::MayHold(const Node& node, const Row& row) const {
  const auto part_may_hold = [&](const Node& part) { return MayHold(part, row); };
  switch (node.kind) {
    case Kind::kTrue:
      return true;
    case Kind::kAnd:
      return std::all_of(node.parts.begin(), node.parts.end(), part_may_hold);
    case Kind::kOr:
      return std::any_of(node.parts.begin(), node.parts.end(), part_may_hold);
    case Kind::kIsNull:
      return row.IsNull(node.column);
    case Kind::kIsIn:
      break;
  }
  if (!row.ReadText(node.column, &text_)) return false;
  std::string_view text = text_;
  switch (node.change) {
    case Change::kNone:
      break;
    case Change::kTrim:
      text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
      text = text.substr(0, text.find_last_not_of(' ') + 1);
      break;
    case Change::kUpper:
    case Change::kLower:
      if (!IsAscii(text_)) return true;  // left to the function itself
      for (char& c : text_) {
        if (node.change == Change::kUpper ? c >= 'a' && c <= 'z' : c >= 'A' && c <= 'Z') c = c ^ 0x20;
      }
      break;
  }
  return std::find(node.texts.begin(), node.texts.end(), text) != node.texts.end();
}

CandidateRows::List CandidateRows::Of(Table& table) {
  if (rows_ && version_ == table.content_version()) return rows_;
  auto rows = std::make_shared<std::vector<RowId>>();
  TableCursor cursor(table);
  Row row;
  RowId id;
  while (cursor.Next(&row, &id)) {
    ThrowIfInterrupted();
    if (filter_->MayHold(row)) rows->push_back(id);
  }
  rows_ = std::move(rows);
  version_ = table.content_version();
  return rows_;
}

void CandidateRows::DropDeleted(Table& table) {
  if (!rows_ || version_ != table.content_version()) return;
  auto rows = std::make_shared<std::vector<RowId>>();
  Row row;
  for (const RowId id : *rows_) {
    if (table.Fetch(id, &row)) rows->push_back(id);
  }
  rows_ = std::move(rows);
}

}  // namespace jet::sql
