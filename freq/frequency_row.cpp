#include "freq/frequency_row.h"

#include <charconv>
#include <cmath>

#include "program/program_state.h"

namespace vnt {
namespace {

constexpr std::string_view kDeleteText = R"(Delete from freq where Grp_id = ?)";
constexpr std::string_view kInsertText =
    R"(INSERT INTO freq )"
    R"( SELECT DISTINCT grp.ntc_id AS ntc_id, emi_rcp AS emi_rcp, beam_name AS beam_name, assgn.grp_id AS grp_id, seq_no AS seq_no, freq_sym AS freq_sym, freq_assgn AS freq_assgn, freq_mhz AS freq_mhz, freq_mhz-(bdwdth)/2000 AS freq_min, freq_mhz+(bdwdth)/2000 AS freq_max, bdwdth AS bdwdth, fdg_reg AS fdg_reg, d_prot_eff AS d_prot_eff, grp.wic_no AS wic_no, ntc_type AS ntc_type )"
    R"( FROM assgn, grp, notice )"
    R"( WHERE assgn.grp_id = ? and assgn.grp_id = grp.grp_id  AND grp.ntc_id=notice.ntc_id and assgn.freq_assgn > 0 and grp.bdwdth > 0)";

constexpr int kDecimals = 5;
// As many digits as a double is sure to carry; what follows is an artefact of its binary form.
constexpr int kSignificantDigits = 15;

// As a value is joined to a text: Empty and Null add nothing.
std::string Joined(const db::Value& value) {
  return value.is_empty_or_null() ? std::string() : value.ToText();
}
std::string Quoted(const db::Value& value) { return "'" + Joined(value) + "'"; }

double NumberOrZero(const db::Value& value) { return value.is_null() ? 0.0 : value.ToDouble(); }

// Day first between "#" signs, although the Access engine reads the month first: days up to 12 swap with
// the month. Existing databases hold these dates and comparisons with them must keep meeting.
std::string DateLiteral(double date) {
  if (date == 0) return "NULL";
  const db::DateParts parts = db::SplitDate(date);
  const std::string quote = IsIngres() ? "'" : "#";
  return quote + std::to_string(parts.day) + "/" + std::to_string(parts.month) + "/" +
         std::to_string(parts.year) + quote;
}

std::unique_ptr<db::Command> GroupCommand(std::string_view text, std::string_view parameter) {
  auto command = std::make_unique<db::Command>(MainCn());
  command->CommandText = text;
  command->Parameters.push_back({std::string(parameter), db::ValueType::kInt32, {}});
  return command;
}

}  // namespace

std::string FormatFrequency(double value) {
  // Digits d.ddd...e±xx of the decimal form, rounded a second time, in decimal, at the fifth place.
  char buffer[64];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, std::fabs(value),
                                 std::chars_format::scientific, kSignificantDigits - 1);
  const std::string_view scientific(buffer, static_cast<std::size_t>(end.ptr - buffer));
  const std::size_t e = scientific.find('e');
  int exponent = 0;
  std::string_view exponent_text = scientific.substr(e + 1);
  if (exponent_text.starts_with('+')) exponent_text.remove_prefix(1);
  std::from_chars(exponent_text.data(), exponent_text.data() + exponent_text.size(), exponent);
  std::string digits(1, scientific.front());
  digits += scientific.substr(2, e - 2);

  int point = exponent + 1;  // digits before the decimal point
  if (point < -kDecimals) return ".";
  if (point < 1) {  // one zero before the point takes a carry
    digits.insert(0, static_cast<std::size_t>(1 - point), '0');
    point = 1;
  }
  const auto kept = static_cast<std::size_t>(point + kDecimals);
  if (digits.size() > kept) {
    const bool up = digits[kept] >= '5';
    digits.resize(kept);
    for (std::size_t i = kept; up && i-- > 0;) {
      if (digits[i] != '9') {
        ++digits[i];
        break;
      }
      digits[i] = '0';
      if (i == 0) {
        digits.insert(0, 1, '1');
        ++point;
        break;
      }
    }
  }
  if (digits.size() < static_cast<std::size_t>(point))
    digits.append(static_cast<std::size_t>(point) - digits.size(), '0');
  std::string whole = digits.substr(0, static_cast<std::size_t>(point));
  std::string decimals = digits.substr(static_cast<std::size_t>(point));
  whole.erase(0, whole.find_first_not_of('0'));
  decimals.erase(decimals.find_last_not_of('0') + 1);
  const bool negative = value < 0 && !(whole.empty() && decimals.empty());
  return (negative ? "-" : "") + whole + "." + decimals;
}

std::int32_t cFREQset::count() const {
  return records_.is_open() ? static_cast<std::int32_t>(records_.RecordCount()) : 0;
}

void cFREQset::InitBuildFreqOverlap() {
  delete_command_ = GroupCommand(kDeleteText, "trythis");
  insert_command_ = GroupCommand(kInsertText, "trythis2");
}

void cFREQset::BuildFreq(std::int32_t grp_id) {
  delete_command_->Parameters[0].value = db::Value::Int32(grp_id);
  insert_command_->Parameters[0].value = db::Value::Int32(grp_id);
  delete_command_->Execute();
  insert_command_->Execute();
}

void cFREQset::BuildAPIFreqRow() {
  std::int16_t seq_no = current_.seq_no.ToInt16();
  db::Recordset edges;
  edges.Open("select * from assgn where grp_id = " + Joined(current_.grp_id) + " order by seq_no", MainCn());
  while (!edges.Eof()) {
    current_.seq_no = db::Value::Int16(seq_no);
    const double lower = NumberOrZero(edges.Get("freq_mhz"));
    current_.freq_sym = edges.Get("freq_sym");
    edges.MoveNext();
    if (edges.Eof()) break;  // an odd last edge has no partner and gives no row
    const double upper = NumberOrZero(edges.Get("freq_mhz"));
    if (lower > 0 && upper > 0) WriteEdgePair(lower, upper, seq_no);
    // A pair that gives no row uses its number up all the same.
    seq_no = db::Value::Int32(seq_no + 1).ToInt16();
    edges.MoveNext();
  }
  edges.Close();
}

void cFREQset::WriteEdgePair(double lower, double upper, std::int16_t seq_no) {
  constexpr double kUnitsPerStep = 1000;  // kHz in a MHz, MHz in a GHz
  current_.freq_min = db::Value::Text(FormatFrequency(lower));
  current_.freq_max = db::Value::Text(FormatFrequency(upper));
  const double centre = (lower + upper) / 2;
  current_.freq_mhz = db::Value::Text(FormatFrequency(centre));
  const std::string unit = Joined(current_.freq_sym);
  if (unit == "M") {
    current_.freq_assgn = current_.freq_mhz;
  } else if (unit == "K") {
    current_.freq_assgn = db::Value::Text(FormatFrequency(current_.freq_mhz.ToDouble() * kUnitsPerStep));
  } else if (unit == "G") {
    current_.freq_assgn = db::Value::Text(FormatFrequency(current_.freq_mhz.ToDouble() / kUnitsPerStep));
  }  // any other unit: the frequency of the previous row stays
  current_.bdwdth = db::Value::Double(std::nearbyint((upper - lower) * kUnitsPerStep));  // halves to even

  const std::string number = std::to_string(seq_no);
  const std::string fdg_reg = current_.fdg_reg.is_empty_or_null() ? "NULL" : Quoted(current_.fdg_reg);
  const std::string wic_no = current_.wic_no.is_empty_or_null() ? "NULL" : Joined(current_.wic_no);
  MainCn().Execute("Delete from freq where Grp_id = " + Joined(current_.grp_id) + " and seq_no = " + number);
  MainCn().Execute("INSERT INTO freq values (" + Joined(current_.ntc_id) + ", " + Quoted(current_.emi_rcp) +
                   ", " + Quoted(current_.beam_name) + ", " + Joined(current_.grp_id) + ", " + number + ", " +
                   Quoted(current_.freq_sym) + ", " + Joined(current_.freq_assgn) + ", " +
                   Joined(current_.freq_mhz) + ", " + Joined(current_.freq_min) + ", " +
                   Joined(current_.freq_max) + ", " + Joined(current_.bdwdth) + ", " + fdg_reg + ", " +
                   DateLiteral(current_.d_prot_eff) + ", " + wic_no + ", " + Quoted(current_.ntc_type) +
                   ", null" + ")");
}

}  // namespace vnt
