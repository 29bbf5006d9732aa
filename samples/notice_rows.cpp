#include "samples/notice_rows.h"

#include <algorithm>
#include <array>
#include <cmath>

#include <fmt/format.h>

namespace vnt::samples {
namespace {

using jet::Value;

Value N() { return Value::Null(); }
Value I(std::int64_t v) { return Value::Integer(v); }
Value R(double v) { return Value::Real(v); }
Value T(std::string v) { return Value::Text(std::move(v)); }
Value T(const char* v) { return v == nullptr ? Value::Null() : Value::Text(v); }
Value C(char v) { return Value::Text(std::string(1, v)); }

double RoundTo(double value, int decimals) {
  const double scale = std::pow(10.0, decimals);
  return std::round(value * scale) / scale;
}

constexpr int kFirstNotice = 100000001;
constexpr int kFirstDay2003 = 37622;  // 1 January 2003 as a date number
constexpr int kGroupsPerNotice = 8;
// An Access file ends at 2 GB: with eight groups each, 60,000 notices would fill it. Later notices have
// fewer.
constexpr int kLastFullNotice = 40000;
constexpr int kGroupsOfLaterNotice = 2;

constexpr std::array<NoticeKind, 10> kKinds{{{"A", "G", "A", nullptr},
                                             {"C", "G", nullptr, nullptr},
                                             {"N", "N", "A", nullptr},
                                             {"C", "S", nullptr, nullptr},
                                             {"N", "T", nullptr, nullptr},
                                             {"B", "G", nullptr, "AP30"},
                                             {"U", "G", nullptr, nullptr},
                                             {"A", "N", "M", nullptr},
                                             {"N", "G", nullptr, "AP30B"},
                                             {"D", "S", nullptr, nullptr}}};

constexpr std::array<const char*, 14> kAdministrations{"F", "D", "G",   "USA", "J",   "CHN", "LUX",
                                                       "I", "E", "NOR", "AUS", "HOL", "IND", "BEL"};

template <std::size_t Size>
const char* Cycle(const std::array<const char*, Size>& texts, std::uint64_t turn) {
  return texts[turn % Size];
}

}  // namespace

NoticeWriter::NoticeWriter(jet::Database& database, std::uint64_t seed) : database_(database), seed_(seed) {
  const std::pair<Target*, const char*> targets[] = {
      {&notice_, "notice"},     {&com_el_, "com_el"},     {&geo_, "geo"},
      {&non_geo_, "non_geo"},   {&e_stn_, "e_stn"},       {&orbit_, "orbit"},
      {&hor_elev_, "hor_elev"}, {&s_beam_, "s_beam"},     {&e_ant_, "e_ant"},
      {&grp_, "grp"},           {&assgn_, "assgn"},       {&freq_, "freq"},
      {&strap_, "strap"},       {&ngma_, "ngma"},         {&emiss_, "emiss"},
      {&srv_cls_, "srv_cls"},   {&srv_area_, "srv_area"}, {&diag_grp_, "diag_grp"},
      {&fdg_ref_, "fdg_ref"},   {&e_as_stn_, "e_as_stn"}, {&s_as_stn_, "s_as_stn"},
      {&provn_, "provn"},       {&tr_provn_, "tr_provn"}, {&tr_aff_ntw_, "tr_aff_ntw"},
      {&gpub_, "gpub"},         {&pub_ssn_, "pub_ssn"},   {&ant_type_, "ant_type"},
      {&c_pfd_, "c_pfd"},       {&history_, "history"},   {&vnt_ooak_, "vnt_ooak"}};
  for (const auto& [target, name] : targets) target->table = database_.FindTable(name);
}

// SplitMix64: small, fast, and the same on every platform.
std::uint64_t NoticeWriter::Random() {
  std::uint64_t z = (state_ += 0x9E3779B97F4A7C15u);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
  return z ^ (z >> 31);
}
int NoticeWriter::Random(int low, int high) {
  return low + static_cast<int>(Random() % static_cast<std::uint64_t>(high - low + 1));
}
double NoticeWriter::RandomReal(double low, double high) {
  return low + (high - low) * (static_cast<double>(Random() >> 11) * 0x1.0p-53);
}

int NoticeWriter::NextDefect(Target& target, int count) {
  if (target.written % 4 != 1) return -1;
  return static_cast<int>(target.turn++ % static_cast<std::uint64_t>(count));
}

void NoticeWriter::Insert(Target& target, const Values& values) {
  target.table->Insert(values);
  ++target.written;
  ++rows_;
}

void NoticeWriter::WriteDatabaseRows() {
  Insert(vnt_ooak_, {I(7), I(1), R(kFirstDay2003), T("Sample notice database")});
  // Data of an older reference list, to be replaced.
  for (int id = 1; id <= 12; ++id)
    Insert(ant_type_, {I(id), T(fmt::format("OLD-{}", id)), C(id % 2 == 0 ? 'E' : 'R'), C('1')});
}

void NoticeWriter::WriteNotice(int number) {
  state_ = seed_ * 0xD1342543DE82EF95u + static_cast<std::uint64_t>(number);
  ntc_id_ = kFirstNotice + number;
  old_capture_ = number / 10 % 20 < 2;
  const NoticeKind& kind = kKinds[static_cast<std::size_t>(number) % kKinds.size()];
  WriteHead(number, kind);
  WriteIdentity(kind);
  if (*kind.type == 'N') WriteOrbits();
  WriteBeams(kind);
  WriteNoticeTables(kind);
  const int groups = number < kLastFullNotice ? kGroupsPerNotice : kGroupsOfLaterNotice;
  for (int position = 0; position < groups; ++position) {
    grp_id_ = number * kGroupsPerNotice + position + 1;
    WriteGroup(kind, position);
  }
}

// 506 to 520 were in use for a while only; elsewhere a number that no list knows stands in their place.
int NoticeWriter::OldPattern(int pattern) const {
  constexpr int kUnknown = 996;
  return pattern >= 506 && pattern <= 520 && !old_capture_ ? kUnknown : pattern;
}

void NoticeWriter::WriteHead(int number, const NoticeKind& kind) {
  // Provisions of older rules, each with the notices it is found on.
  static constexpr std::array<const char*, 4> kApi{"S9.1/IA", "S9.1/IB", "S9.1/IA,IB", "S9.1/IA "};
  static constexpr std::array<const char*, 6> kCoordination{"RS46",       "9.11A",        "S9.11A ",
                                                            "9.6-RES553", "9.6-21.4-22G", "9.6"};
  static constexpr std::array<const char*, 5> kNotification{"RS46", "9.11A", "S9.11A", "11.2-RES553", "11.2"};
  const std::uint64_t round =
      static_cast<std::uint64_t>(number) / kKinds.size() + static_cast<std::uint64_t>(number) % 3;
  const char* provision = "9.7";
  if (*kind.reason == 'A') provision = Cycle(kApi, round);
  if (*kind.reason == 'C') provision = Cycle(kCoordination, round);
  if (*kind.reason == 'N') provision = Cycle(kNotification, round);
  static constexpr std::array<const char*, 4> kDescriptions{nullptr, "9.11A", "RES49", nullptr};
  const char* adm = Cycle(kAdministrations, Random());
  const Value plan = T(kind.plan);
  // A notice without a date of receipt, and dates on both sides of 1 January 2001.
  const Value received = number % 20 == 7 ? N() : R(kFirstDay2003 + Random(-2000, 4000));
  static constexpr std::array<const char*, 5> kStatus{"20", "50", nullptr, "01", "10"};
  const Value status = T(Cycle(kStatus, static_cast<std::uint64_t>(number)));
  Insert(notice_,
         {I(ntc_id_), T(kind.type), T(kind.reason), T(adm), number % 6 == 0 ? T("INTELNET") : N(),
          T(kind.action), received, status, T(provision), T(Cycle(kDescriptions, round)),
          number % 5 == 2 ? T("R") : N(), plan, I(2400 + number % 300), R(kFirstDay2003 + number % 900),
          T(number % 2 == 0 ? "1" : "2"), I(1 + number % 3), T(number % 3 == 0 ? "I" : "E"),
          number % 9 == 0 ? T("Captured from paper; values as received from the administration.") : N()});
}

void NoticeWriter::WriteIdentity(const NoticeKind& kind) {
  const bool station = kind.earth_station();
  const double longitude = RoundTo(RandomReal(-179, 180), 2);
  const std::string satellite =
      fmt::format("SAT-{}{}", static_cast<char>('A' + Random(0, 25)), ntc_id_ % 100000);
  const std::string name = fmt::format("STATION {}", ntc_id_ % 100000);
  // Common elements that lack the longitude, or carry an older name.
  const int defect = NextDefect(com_el_, 3);
  const Value common_longitude = defect == 0 ? N() : defect == 1 ? R(0) : R(longitude);
  const std::string old_name = defect == 2 ? "OLD NAME" : station ? name : satellite;
  const char* provision = *kind.reason == 'A'   ? "S9.1/IA"
                          : *kind.reason == 'N' ? "11.2-RES553"
                                                : "9.6-RES553";
  Insert(com_el_, {I(ntc_id_), T(kind.type), T(kind.reason), T("F"), station ? N() : T(old_name),
                   station ? T(old_name) : N(), common_longitude, T(provision), T(kind.plan), T("20"),
                   I(2400), T("1")});
  switch (*kind.type) {
    case 'G':
      Insert(geo_, {I(ntc_id_), T(satellite), R(longitude), Random(0, 3) == 0 ? N() : T("A")});
      break;
    case 'N':
      Insert(non_geo_, {I(ntc_id_), T(satellite), I(Random(1, 66)), Random(0, 3) == 0 ? N() : T("A")});
      break;
    default:
      Insert(e_stn_, {I(ntc_id_), T(name), T("F"), R(longitude), R(RoundTo(RandomReal(-60, 70), 4)),
                      Random(0, 3) == 0 ? N() : T("A")});
      for (int azimuth = 0; azimuth < 360; azimuth += 45) {
        const double angle = RandomReal(0, 25);
        // 5.05 lies half way between two roundings.
        const double stored = NextDefect(hor_elev_, 2) == 0 ? 5.05
                              : hor_elev_.written % 4 == 1  ? angle
                                                            : RoundTo(angle, 1);
        Insert(hor_elev_, {I(ntc_id_), I(azimuth), R(stored)});
      }
  }
}

void NoticeWriter::WriteOrbits() {
  const int orbits = Random(2, 6);
  for (int orbit = 1; orbit <= orbits; ++orbit) {
    Values v{I(ntc_id_),
             I(orbit),
             I(Random(1, 11)),
             R(RoundTo(RandomReal(30, 98), 1)),
             I(0),
             I(Random(1, 23)),
             I(Random(0, 59)),
             R(1414),
             I(0),
             R(1414),
             I(0),
             R(1.4),
             I(3),
             I(1),
             I(2),
             I(3),
             I(4)};
    // Half-filled periods, and exponents without (or missing beside) their value.
    switch (NextDefect(orbit_, 6)) {
      case 0:
        v[4] = N(), v[6] = N();
        break;
      case 1:
        v[5] = N();
        break;
      case 2:
        v[8] = N(), v[9] = N();
        break;
      case 3:
        v[7] = N(), v[12] = N();
        break;
      case 4:
        v[13] = N(), v[15] = N();
        break;
      case 5:
        v[10] = N(), v[11] = N(), v[14] = N(), v[16] = N();
        break;
      default:
        break;
    }
    Insert(orbit_, v);
  }
}

void NoticeWriter::WriteBeams(const NoticeKind& kind) {
  static constexpr std::array<const char*, 3> kNames{"ADVP", "BEAM1", "BEAM2"};
  // Patterns of older lists: obsolete, convertible, unknown, and the one that stands for "none".
  static constexpr std::array<int, 12> kOldPatterns{506, 507, 519, 520,  201, 202,
                                                    203, 999, 365, 9999, 204, 998};
  for (std::size_t beam = 0; beam < kNames.size(); ++beam) {
    for (const char direction : {'E', 'R'}) {
      const int defect = NextDefect(s_beam_, static_cast<int>(kOldPatterns.size()));
      const Value pattern = defect < 0 ? I(beam % 2 == 0 ? 1 : 9)
                                       : I(OldPattern(kOldPatterns[static_cast<std::size_t>(defect)]));
      const std::string name = std::string(*kind.reason == 'U' && beam == 0 ? "RS49" : kNames[beam]) +
                               (defect % 3 == 0 ? "  " : "");
      Insert(s_beam_, {I(ntc_id_), C(direction), T(name), T(kind.action), beam == 0 ? N() : T("C"), pattern,
                       R(0.1f), R(3.5f), R(4.5f), T("A12"), T("L3"), R(12.5f), R(10.5f), R(30.0f), R(28.0f),
                       R(11700), R(12500)});
      const int ant_defect = NextDefect(e_ant_, static_cast<int>(kOldPatterns.size()));
      if (kind.earth_station() || beam == 1) {
        const Value ant_pattern =
            ant_defect < 0 ? I(33) : I(OldPattern(kOldPatterns[static_cast<std::size_t>(ant_defect)]));
        Insert(e_ant_, {I(ntc_id_), C(direction), T(std::string(kNames[beam]) + (ant_defect >= 0 ? " " : "")),
                        N(), ant_pattern, R(54.5f), R(0.3f)});
      }
    }
  }
}

void NoticeWriter::WriteNoticeTables(const NoticeKind& kind) {
  for (int strap = 1; strap <= 3; ++strap) {
    // Values on the wrong side of 10 500 MHz for their unit, and in the zone that goes to GHz and back.
    const int defect = NextDefect(strap_, 3);
    const double up = RoundTo(RandomReal(13750, 14500), 4);
    Value up_symbol = T("G"), up_value = R(RoundTo(up / 1000, 5)), down_symbol = T("M"),
          down_value = R(RoundTo(RandomReal(3700, 4200), 2));
    if (defect == 0) up_symbol = T("M"), up_value = R(up);
    if (defect == 1) down_symbol = T("G"), down_value = R(4.125);
    if (defect == 2) up_symbol = T("M"), up_value = R(10500.5);
    Insert(strap_, {I(ntc_id_), I(strap), T(kind.action), up_symbol, up_value, down_symbol, down_value});
  }
  Insert(ngma_, {I(ntc_id_), I(1), T(kind.action)});
  static constexpr std::array<std::pair<int, int>, 5> kBands{
      {{5030, 5150}, {4990, 5000}, {15350, 15400}, {42500, 43500}, {11700, 12500}}};
  const auto& band = kBands[static_cast<std::size_t>(ntc_id_) % kBands.size()];
  Insert(c_pfd_, {I(ntc_id_), I(1), R(band.first), R(band.second), R(-160.5), R(4), N()});
  for (int i = 1; i <= 2; ++i) Insert(pub_ssn_, {I(ntc_id_), I(i), T("API/A"), I(Random(1, 9999))});
  for (int i = 1; i <= 3; ++i)
    Insert(tr_aff_ntw_, {I(ntc_id_), I(i), T(fmt::format("NETWORK {}", Random(1, 500)))});
  for (int i = 0; i < 6; ++i) {
    const bool territory = NextDefect(tr_provn_, 2) == 0;
    Insert(tr_provn_, {I(ntc_id_), I(2400 + i / 3), T(i % 3 == 2 ? "9.7 " : "9.7"),
                       T(i % 3 == 2 ? "O"
                         : i == 4   ? "V"
                                    : "R"),
                       T(territory ? "MRC" : Cycle(kAdministrations, Random())), T(territory ? "AOE" : "F"),
                       i % 2 == 0 ? N() : T("INTELNET"), I(6 - i)});
  }
  Insert(history_, {I(ntc_id_), I(1), T("CAPTURE"), R(kFirstDay2003), T("01"), T("Captured")});
}

void NoticeWriter::WriteGroup(const NoticeKind& kind, int position) {
  static constexpr std::array<const char*, 3> kNames{"ADVP", "BEAM1", "BEAM2"};
  direction_ = position % 2 == 0 ? 'E' : 'R';
  const int beam = position % 3;
  std::string name = kNames[static_cast<std::size_t>(beam)];
  if (*kind.reason == 'U' && beam == 0) name = "RS49";
  const int defect = NextDefect(grp_, 8);
  if (defect == 7) name += ' ';
  const bool band_edges = beam == 0;  // assignments are the lower and upper edges of bands
  static constexpr std::array<int, 6> kBandwidths{36000, 72000, 250, 33000, 0, 54000};
  const int bandwidth = kBandwidths[grp_.written % kBandwidths.size()];
  // A service area written out, as it was captured before there were symbols: good, of mixed case, and of no
  // kind known.
  static constexpr std::array<const char*, 10> kAreaNames{
      "REGION 1", "VISIBLE EARTH",  "RGN2",   "Region 3", "XR 3",
      "RG 1",     "VISIBLE  EARTH", "EUROPE", "XVE",      "rg2"};
  const bool advance = *kind.reason == 'A';
  const Value area_name = advance || defect == 1 ? T(Cycle(kAreaNames, grp_.written / 2)) : N();
  const Value area = position % 2 == 0 ? I(position + 1) : N();
  // Dates whose two-digit year was read into the wrong century (1 January 1905 to 1949).
  const Value in_use = defect == 2 ? R(Random(1828, 17000)) : R(kFirstDay2003 + Random(0, 4000));
  const char* provision = advance ? (beam == 0 ? "9.1/IB" : "9.1/IA") : defect == 3 ? nullptr : "9.7";
  Insert(grp_, {I(grp_id_),
                I(ntc_id_),
                C(direction_),
                T(name),
                band_edges ? N() : T("C"),
                position % 4 == 3 ? T("A") : T(kind.action),
                T(provision),
                bandwidth == 250 && band_edges ? N() : I(bandwidth),
                I(bandwidth),
                T(position % 2 == 0 ? "T" : "P"),
                T(defect == 4 ? "Y" : "N"),
                R(static_cast<float>(Random(300, 900))),
                R(45.0f),
                T(position % 3 == 0   ? "L"
                  : position % 3 == 1 ? "CL"
                                      : nullptr),
                R(static_cast<float>(Random(0, 30))),
                I(Random(10, 30)),
                in_use,
                position % 5 == 4 ? N() : R(kFirstDay2003 + Random(0, 4000)),
                area,
                area_name,
                R(11000),
                R(12000),
                position % 4 == 0 ? I(grp_id_ + 500000) : N(),
                T("A--"),
                T("A"),
                N(),
                position % 3 == 0 ? T("RS33, subject to agreement") : N(),
                position % 5 == 0 ? T("See remark of the administration") : N(),
                I(2400),
                R(kFirstDay2003 + 30),
                T("1")});
  WriteAssignments(kind, name, band_edges, bandwidth);
  WriteEmissions();
  WriteGroupLists(kind, position);
  WriteProvisions();
  WriteStations(kind);
}

void NoticeWriter::WriteAssignments(const NoticeKind& kind, const std::string& beam, bool band_edges,
                                    double bandwidth_khz) {
  // Some groups of the advance publication beam are empty: they are to be deleted.
  if (band_edges && grp_id_ % 6 == 1) return;
  int count = Random(8, 16);
  if (band_edges) count += grp_id_ % 16 == 4 ? 1 - count % 2 : count % 2;  // pairs, now and then one too many
  const bool high_band = Random(0, 1) == 1;
  double mhz = high_band ? RandomReal(10700, 14000) : RandomReal(1500, 7000);
  const bool unsorted = grp_id_ % 4 == 2;
  for (int seq = 1; seq <= count; ++seq) {
    mhz += RandomReal(5, 40);
    double value_mhz = RoundTo(unsorted && !band_edges ? mhz + (seq % 3) * 100 - 100 : mhz, 3);
    Value symbol = T(value_mhz > 10500 ? "G" : "M");
    Value value = R(value_mhz > 10500 ? RoundTo(value_mhz / 1000, 6) : value_mhz);
    Value in_mhz = R(value_mhz);
    const int defect = NextDefect(assgn_, 10);
    if (!band_edges || defect == 2 || defect == 6) {
      switch (defect) {
        case 0:
          value_mhz += 10500, symbol = T("M"), value = R(value_mhz), in_mhz = R(value_mhz);
          break;
        case 1:
          value_mhz = 10500.5, symbol = T("M"), value = R(value_mhz), in_mhz = R(value_mhz);
          break;
        case 2:
          in_mhz = N();
          break;
        case 3:
          in_mhz = R(value_mhz - 100);
          break;
        case 4:
          symbol = T("K"), value = R(RoundTo(value_mhz * 1000, 2));
          break;
        case 5:
          value_mhz = 4123.4567891, symbol = T("M"), value = R(value_mhz), in_mhz = R(value_mhz);
          break;
        case 6:
          value_mhz = 4.2, symbol = T("G"), value = R(value_mhz), in_mhz = R(4200);
          break;
        case 7:
          symbol = N(), value = N(), in_mhz = N();
          break;
        case 8:
          symbol = T("G"), value = R(10.501), in_mhz = R(10501);
          break;
        case 9:
          value = R(0), symbol = T("M"), in_mhz = R(0);
          break;
        default:
          break;
      }
    }
    Insert(assgn_, {I(grp_id_), I(seq), symbol, value, in_mhz, seq % 5 == 0 ? T("Y") : N()});
    // Rows derived by an earlier build: some missing, some of assignments that are gone, some with an older
    // value.
    if (seq % 12 == 11) continue;
    const double half = bandwidth_khz / 2000;
    const int freq_defect = NextDefect(freq_, 3);
    const double old_mhz = freq_defect == 0 ? value_mhz - 1.123456789 : value_mhz;
    Insert(freq_, {I(ntc_id_), C(direction_), T(beam), I(grp_id_), I(freq_defect == 1 ? seq + 100 : seq),
                   symbol, value, R(old_mhz), R(old_mhz - half), R(old_mhz + half),
                   I(static_cast<int>(bandwidth_khz)), T("A--"), N(), I(2400), T(kind.type), N()});
  }
}

void NoticeWriter::WriteEmissions() {
  static constexpr std::array<const char*, 12> kDesignations{
      "8K50F3E  ", "8K50F3E ", "8K50F3EX",  "8K50F3E", "\r",        "36M0G7W\n",
      "SENSOR   ", "SENSOR ",  "36M0G7W\r", "72M0G7W", "6K00A3EJ ", "SENSO  "};
  static constexpr std::array<const char*, 4> kSound{"36M0G7W--", "72M0G7W--", "8K50F3EJN", "250KG1D--"};
  for (int seq = 1; seq <= 4; ++seq) {
    const int defect = NextDefect(emiss_, 16);
    const auto power = [&] {
      const double value = RandomReal(-20, 40);
      return R(defect == 15 ? value : RoundTo(value, 1));
    };
    Value design = T(Cycle(kSound, Random()));
    Values v{I(grp_id_), I(seq),  design,  seq == 1 ? T("C") : N(),          power(),
             power(),    power(), power(), R(RoundTo(RandomReal(5, 25), 1)), power()};
    if (defect >= 0 && defect < 12) v[2] = T(kDesignations[static_cast<std::size_t>(defect)]);
    if (defect == 12) v[3] = T("A");
    if (defect == 13) v[2] = T(""), v[4] = v[5] = v[6] = v[7] = v[8] = N();
    if (defect == 14) v[2] = N(), v[4] = v[5] = v[6] = v[7] = v[8] = v[9] = N();
    Insert(emiss_, v);
  }
}

void NoticeWriter::WriteGroupLists(const NoticeKind& kind, int position) {
  for (int seq = 1; seq <= 2; ++seq)
    Insert(srv_cls_, {I(grp_id_), I(seq), T(seq == 1 ? "EC" : "EK"), T("CP")});
  for (int i = 0; i < 2; ++i)
    Insert(srv_area_, {I(grp_id_), T(kAdministrations[static_cast<std::size_t>(Random(0, 6) * 2 + i)])});
  // Diagrams: numbers that disagree with the group's, kinds that do not apply, and groups without any.
  switch (position % 4) {
    case 0:
      Insert(diag_grp_, {I(grp_id_), T("SA"), I(position + 1 + static_cast<int>(grp_id_ % 3 == 0))});
      break;
    case 1:
      if (grp_id_ % 8 == 2) Insert(diag_grp_, {I(grp_id_), T("MOTYP"), I(1)});
      Insert(diag_grp_, {I(grp_id_), T("GT"), I(Random(1, 20))});
      break;
    case 2:
      break;
    case 3:
      Insert(diag_grp_, {I(grp_id_),
                         T(grp_id_ % 16 == 4    ? "AFRGN"
                           : grp_id_ % 16 == 12 ? "SMK"
                                                : "CO"),
                         I(2)});
      break;
  }
  for (int seq = 1; seq <= 1 + position % 2; ++seq)
    Insert(fdg_ref_, {I(grp_id_), I(seq), T("9.7 agreement")});
  static constexpr std::array<const char*, 12> kReferences{"WKLY",    "CR/D",    nullptr,   "AR11/A/",
                                                           "AR11/C/", "AR14/C/", "API/A/",  "AR11/A/ ",
                                                           "AR11/C",  "RES33/C", "RES46/C", "CR/C"};
  for (int seq = 1; seq <= 3; ++seq) {
    const int defect = NextDefect(gpub_, static_cast<int>(kReferences.size()));
    const char* type = seq == 3 ? "B" : seq == 2 ? "C" : "N";
    if (defect == 7 || defect == 11) type = nullptr;
    Insert(gpub_, {I(grp_id_), I(seq), T(defect < 2 && defect >= 0 ? "N" : type),
                   defect < 0 ? T(*kind.reason == 'A' ? "API/A" : "CR/C")
                              : T(kReferences[static_cast<std::size_t>(defect)]),
                   defect == 2 ? N() : I(Random(1, 3000))});
  }
}

void NoticeWriter::WriteProvisions() {
  static constexpr std::array<const char*, 5> kStatuses{"R", "O", "V", "A", "P"};
  // Blocks numbered against the order of their administrations. In one group of four all rows share a status
  // and half of the provisions end in a blank: the sort takes them as one block, as the file's indexes do.
  const bool one_block = grp_id_ % 4 == 0;
  for (int i = 0; i < 6; ++i) {
    const int defect = NextDefect(provn_, 4);
    const bool territory = defect == 0;
    const bool empty_codes = defect == 3 && i == 5;
    const char* provision = one_block ? (i < 3 ? "9.7" : "9.7 ") : (i % 2 == 0 ? "9.11A" : "RR1060");
    const char* status = Cycle(kStatuses, static_cast<std::uint64_t>(grp_id_ % 5 + (one_block ? 0 : i / 3)));
    Insert(provn_, {I(grp_id_), T(empty_codes ? "" : provision), T(empty_codes ? "" : status),
                    T(territory ? "MRC" : kAdministrations[static_cast<std::size_t>(Random(0, 13))]),
                    T(territory ? "AOE" : "F"), i % 3 == 0 ? T("INTELNET") : N(), I(6 - i)});
  }
}

void NoticeWriter::WriteStations(const NoticeKind& kind) {
  static constexpr std::array<int, 14> kOldPatterns{506, 507, 519, 520, 365,  380, 383,
                                                    400, 96,  201, 130, 9999, 997, 204};
  for (int seq = 1; seq <= 2; ++seq) {
    const int defect = NextDefect(e_as_stn_, static_cast<int>(kOldPatterns.size()));
    const Value pattern = defect < 0 ? I(*kind.reason == 'B' ? 130 : 33)
                                     : I(OldPattern(kOldPatterns[static_cast<std::size_t>(defect)]));
    const int number = Random(1, 900);
    Insert(e_as_stn_, {I(grp_id_), I(seq),
                       T(defect >= 0 ? fmt::format("Station {}", number) : fmt::format("STATION {}", number)),
                       defect == 5 ? N() : T(seq == 1 ? "T" : "P"), pattern, T(kind.action),
                       R(static_cast<float>(Random(80, 400))), R(10.5f), I(36000), T("T")});
  }
  if (grp_id_ % 2 == 0) Insert(s_as_stn_, {I(grp_id_), I(1), T("SAT-OTHER"), T("A")});
}

}  // namespace vnt::samples
