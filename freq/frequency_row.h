// The derived frequency row and the builder that alone writes it.
//
// A row of freq, in the order in which it is written (the direct insert names no columns and relies on it):
//
//    1 ntc_id      notice                        9 freq_min    lower edge, MHz
//    2 emi_rcp     emission/reception of beam   10 freq_max    upper edge, MHz
//    3 beam_name                                11 bdwdth      bandwidth, kHz
//    4 grp_id      group                        12 fdg_reg     from the group
//    5 seq_no      16-bit, within the group     13 d_prot_eff  from the group
//    6 freq_sym    "K", "M" or "G"              14 wic_no      from the group
//    7 freq_assgn  in the unit of freq_sym      15 ntc_type    from the notice
//    8 freq_mhz    the same in MHz              16             always Null
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "db/connection.h"

namespace vnt {

// One frequency row in memory. A property may be Empty or Null; nothing is checked.
class cFREQ {
 public:
  db::Value grp_id;
  db::Value seq_no;
  db::Value freq_assgn;
  db::Value freq_min;
  db::Value freq_sym;
  db::Value freq_mhz;
  db::Value freq_max;
  db::Value ntc_id;
  db::Value emi_rcp;
  db::Value beam_name;
  db::Value bdwdth;
  db::Value fdg_reg;
  double d_prot_eff = 0;  // a date; 0: none
  db::Value wic_no;
  db::Value ntc_type;
};

// Writes the rows of one group at a time. Every failure of the database is a DbError for the caller. Members
// that no build asks (Eof, bof, NoMatch, count, the properties in front, DBName) are here by design.
class cFREQset {
 public:
  cFREQset() = default;
  cFREQset(const cFREQset&) = delete;
  cFREQset& operator=(const cFREQset&) = delete;

  // State of the builder's recordset; without one, at the end, with no rows.
  bool Eof() const { return !records_.is_open() || records_.Eof(); }
  bool bof() const { return !records_.is_open() || records_.Bof(); }
  bool NoMatch() const { return no_match_; }
  std::int32_t count() const;

  // The row that the caller fills before BuildAPIFreqRow. It keeps its values from group to group.
  cFREQ& CurrentObject() { return current_; }

  // Carried for callers; no build looks at them.
  db::Value freq_fr = db::Value::Null();
  db::Value freq_to = db::Value::Null();
  db::Value stn_type = db::Value::Null();
  db::Value emi_rcp = db::Value::Null();

  // Rebuilds the rows of the group in CurrentObject, whose assignments are band edges in pairs (lower,
  // upper), numbered from CurrentObject's seq_no.
  void BuildAPIFreqRow();
  // Rebuilds all rows of a group from centre frequencies and the group's bandwidth. Needs
  // InitBuildFreqOverlap.
  void BuildFreq(std::int32_t grp_id);
  // Prepares the two commands of BuildFreq on the main connection.
  void InitBuildFreqOverlap();

  std::string DBName;

 private:
  void WriteEdgePair(double lower, double upper, std::int16_t seq_no);

  db::Recordset records_;
  bool no_match_ = false;
  cFREQ current_;
  std::unique_ptr<db::Command> delete_command_;
  std::unique_ptr<db::Command> insert_command_;
};

// A number in the pattern "#####.#####": at most five decimals, halves away from zero, no zero before the
// point, and the point even after a whole number ("14250.", ".5", "." for 0).
std::string FormatFrequency(double value);

}  // namespace vnt
