// PostgreSQL, 15 and later: tables and indexes.
//
//   Access             column                       Access             column
//   Yes/No             boolean                      Currency           numeric(19,4), remark
//   Byte               smallint, remark             Decimal(p,s)       numeric(p,s)
//   Integer, Long      smallint, integer            Text(n)            varchar(n)
//   Large Number       bigint                       Memo               text
//   Single, Double     real, double precision       Binary(n), OLE     bytea, remark on the former
//   Date/Time          timestamp                    GUID               uuid
//
// Texts have the collation "C", so that they are compared and sorted letter by letter. A remark is a comment
// on the column that begins with "vntfix ". The number of kOrderColumn comes from one sequence for all
// tables.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "db/server_provider/sql_dialect.h"

namespace vnt::db {

std::string PostgresType(const ServerColumn& column);

class PostgresTables : public SqlDialect {
 public:
  std::vector<std::string> CreateTable(const ServerTable& table) const override;
  std::vector<std::string> CreateIndexes(const ServerTable& table) const override;
  std::string CreateIndex(const ServerTable& table, const ServerIndex& index) const override;
  std::string DropIndex(const ServerTable& table, const std::string& index) const override;
  std::string AddColumn(const ServerTable& table, const ServerColumn& column) const override;
  std::string ColumnsQuery(std::string_view table) const override;
  std::string IndexesQuery(std::string_view table) const override;
  void SetType(std::string_view type, int size, int scale, std::string_view remark,
               ServerColumn* column) const override;
  std::string DefaultOf(std::string_view sql) const override;
  std::vector<std::string> KeyOfRemark(std::string_view remark) const override;
  std::string IndexName(std::string_view table, std::string_view server_name) const override;

 private:
  // Of a default of Access that is a constant; empty: it is none.
  std::string DefaultSql(const ServerColumn& column) const;
  std::string ColumnSql(const ServerColumn& column) const;
  // Empty: the key needs none.
  std::string FoldIndex(const ServerTable& table, const ServerIndex& index) const;
  // For the condition of a query of the catalog.
  std::string IsTable(std::string_view table) const;
};

}  // namespace vnt::db
