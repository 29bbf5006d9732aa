// The forty fixes in the order in which they run, which is not that of their boxes.
//
// Captions and tooltips are shown as they stand: "Allign", "Visibile" and "finging", doubled and trailing
// blanks, and tooltips that belong to other boxes are what users, manuals and screen recordings know.
// Index 3 has no routine, deliberately: its box can be ticked, it is tested, and nothing runs.

#include "run/catalogue.h"

#include <cstddef>
#include <iterator>

#include "fixes/antenna_patterns.h"
#include "fixes/emissions.h"
#include "fixes/frequency_mhz.h"
#include "fixes/frequency_sort.h"
#include "fixes/frequency_units.h"
#include "fixes/identity.h"
#include "fixes/inapplicable_data.h"
#include "fixes/provision_codes.h"
#include "fixes/provision_sort.h"
#include "fixes/reference_tables.h"
#include "fixes/rounding.h"
#include "fixes/service_areas.h"
#include "fixes/special_sections.h"
#include "fixes/status_reset.h"
#include "freq/frequency_build.h"
#include "freq/frequency_limits.h"

namespace vnt {
namespace {

// Boxes from top to bottom of each column. The right column loads unticked.
constexpr int kLeftColumn[] = {0, 1, 2, 3, 9, 10, 12, 14, 35, 4, 7, 8, 11, 26, 27, 32, 29, 5};
constexpr int kMiddleColumn[] = {15, 17, 18, 20, 21, 6, 22, 23, 31, 30, 28, 13, 33, 34, 36, 37, 38, 39};
constexpr int kRightColumn[] = {16, 25, 19, 24};

constexpr int RowIn(std::span<const int> column, int index) {
  for (std::size_t row = 0; row < column.size(); ++row) {
    if (column[row] == index) return static_cast<int>(row);
  }
  return -1;
}

struct Routines {
  std::array<FixRoutine, 6> list{};
  int count = 0;
};

template <class... R>
constexpr Routines Run(R... routines) {
  return {{routines...}, sizeof...(routines)};
}

// A routine under its own name.
#define ROUTINE(name) \
  FixRoutine { #name, name }

constexpr FixEntry Fix(int step, int index, std::string_view caption, std::string_view tooltip,
                       const Routines& routines, std::string_view summary, std::string_view reach = {}) {
  FixEntry entry;
  entry.step = step;
  entry.index = index;
  entry.caption = caption;
  entry.tooltip = tooltip;
  entry.summary = summary;
  entry.reach = reach;
  entry.routines = routines.list;
  entry.routine_count = routines.count;
  entry.column = FixColumn::kLeft;
  entry.row = RowIn(kLeftColumn, index);
  if (entry.row < 0) {
    entry.column = FixColumn::kMiddle;
    entry.row = RowIn(kMiddleColumn, index);
  }
  if (entry.row < 0) {
    entry.column = FixColumn::kRight;
    entry.row = RowIn(kRightColumn, index);
    entry.ticked = false;
  }
  return entry;
}

constexpr std::array<FixEntry, kFixCount> kCatalogue = {{
    Fix(1, 38, "Allign area_no and Diag_grp", "Sort prov table by administration",
        Run(ROUTINE(AlignAreaNumbers)),
        "Takes area numbers from service-area diagrams and adds missing diagram rows."),
    Fix(2, 6, "Delete Empty Emission/ Frequency rows",
        "delete rows in assgn and emiss table that contain only grp_id and seq_no",
        Run(ROUTINE(DeleteEmptyEmissionRows)),
        "Deletes assignment and emission rows that hold only their keys."),
    Fix(3, 30, "ADVP delete empty groups", "delete empty ADVP groups", Run(ROUTINE(DeleteEmptyAdvpGroups)),
        "Deletes advance-publication groups without assignments, and their classes of station."),
    Fix(4, 0, "Fix Designation of Emission", R"(add "__" to the end of the designation of emission)",
        Run(ROUTINE(FixDesignationOfEmission)),
        "Pads designations of emission with hyphens to nine characters."),
    Fix(5, 2, "Fix Assoc Earth Station Name", "Set station name to uppercase",
        Run(ROUTINE(UppercaseEarthStationNames)),
        "Writes the names of associated earth stations in capitals."),
    Fix(6, 3, "Fix Coordination Provision", R"(prefix prov_ref with "RR" when without)", Run(),
        "Does nothing; the box is kept for its place."),
    Fix(7, 1, "Fix Special Section Reference", "set AR11/A/, AR11/C/, AR14/C/ to the correct value",
        Run(ROUTINE(FixSpecialSectionReference)),
        "Drops references that must not be stored and trailing slashes of the others."),
    Fix(8, 4, "Fix  Action Code", "for add notice set action code of all related entities to null",
        Run(ROUTINE(FixActionCode)), "Clears the action code of everything that belongs to an added notice."),
    Fix(9, 7, "Convert Frequencies MHz to GHz", "convert frequencies > 10500 MHz to GHz",
        Run(ROUTINE(ConvertFreqMHzToGHz)), "Moves frequencies above 10500 MHz to GHz."),
    Fix(10, 8, "Convert Frequencies GHz to MHz", "convert frequencies < 10501 MHZ from GHz to MHz",
        Run(ROUTINE(ConvertFreqGHzToMHz)), "Moves frequencies below 10.501 GHz to MHz."),
    Fix(11, 9, "Fix Date Inuse", "date in use add 100 to year when less than 1950",
        Run(ROUTINE(FixDateInUse)), "Moves dates in use before 1950 forward by a hundred years."),
    Fix(12, 11, "Remove Findings and KV Data",
        "delete rows from fdg_ref and set finging info in the grp table to null",
        Run(ROUTINE(RemoveFindingsAndKvData)),
        "Removes findings, publication data and provisions that an examination has added."),
    Fix(13, 10, "Set Special Sections to NOTIF", "set ssn_type to NOTIF",
        Run(ROUTINE(SetSpecialSectionsToNotif)), "Marks every special section as a notification section."),
    Fix(14, 34, "Fix Notice Provision", "Correct 9.11A applies provision and flag",
        Run(ROUTINE(FixNoticeProvision911A)),
        "Splits combined 9.11A provisions into the provision and the provision that applies."),
    Fix(15, 12, "Clear data not applicable to Notice type",
        "set pnt_acc and prd_valid to null for non geo station",
        Run(ROUTINE(ClearNoticeTypeData), ROUTINE(ClearBeamAttachmentData), ROUTINE(ClearPeriodValidity),
            ROUTINE(ClearOccurrenceForCancellations), ROUTINE(StripNoticeProvisionPrefix),
            ROUTINE(SetExternalFlagForAdditions)),
        "Clears values that a notice of its type cannot have, and completes orbit data.",
        "deletes the rows MOTYP and SMK of diag_grp of every notice"),
    Fix(16, 20, "Fix Freq MHz values", "set freq_mhz of assgn to correct value",
        Run(ROUTINE(RoundFrequencies), ROUTINE(FillMissingFreqMhz), ROUTINE(RecomputeFreqMhz)),
        "Rounds frequencies and computes their value in MHz again."),
    Fix(17, 13, "Build Freq  for AP4/II and AP4/III", "Build freq rows for APS4 notices",
        Run(ROUTINE(BuildFreqGeneral)),
        "Rebuilds the derived frequency rows of coordination and notification notices."),
    Fix(18, 14, "Clear data not valid for Beam",
        "set noise_t to null for emitting grps and emitting assoc earth stns",
        Run(ROUTINE(ClearBeamDirectionData)), "Clears values that do not fit the direction of the beam."),
    Fix(19, 16, "Build Freq for ADVP", "Build freq rows forADVP", Run(ROUTINE(BuildFreqForADVP)),
        "Rebuilds the derived frequency rows of advance-publication notices."),
    Fix(20, 19, "Build Freq for Plan Notices", "Build freq rows for Plan notices",
        Run(ROUTINE(BuildFreqForPlanNotices)), "Rebuilds the derived frequency rows of plan notices.",
        "rebuilds freq for every notice of reason B or P"),
    Fix(21, 21, "Fix missing Com_el data ", "moves long_nom from geo and e_stn to com_el",
        Run(ROUTINE(FillMissingComElData)),
        "Takes names and longitudes of the common elements from the station or satellite."),
    Fix(22, 15, "Set Status to 01", R"(set st_cur to "01")", Run(ROUTINE(SetStatus01)),
        "Sets the current status of notices back to 01."),
    Fix(23, 17, "Remove Spaces from Beam Name", "Remove trailing spaces from the beam name",
        Run(ROUTINE(TrimBeamNames)), "Removes blanks around beam names."),
    Fix(24, 18, "Set emission type flag from A to null", R"(Set emission type flag of "A" to null)",
        Run(ROUTINE(ClearEmissionTypeFlagA)), "Clears the emission type flag A."),
    Fix(25, 28, "Set ADVP Group Provision", "Set Group prov to ADVP provision",
        Run(ROUTINE(SetAdvpGroupProvision)),
        "Sets the provision of the groups of advance-publication notices."),
    Fix(26, 22, "Sort Frequencies", "sort frequencies in ascending order",
        Run(ROUTINE(SortFrequenciesAllGroups)),
        "Numbers the assignments of each group by ascending frequency."),
    Fix(27, 23, "Sort Coordination by Administration", "Sort prov table by administration",
        Run(ROUTINE(SortProvnAllGroups)),
        "Numbers the coordination provisions of each group by administration."),
    Fix(28, 24, "Sort TR Provn by Administration", "Sort prov table by administration",
        Run(ROUTINE(SortTrProvnAllNotices)),
        "Numbers the coordination provisions of each notice by administration."),
    Fix(29, 25, "Build Freq for RS49", "Build freq rows for RS49", Run(ROUTINE(BuildFreqForRS49)),
        "Rebuilds the derived frequency rows of RS49 notices."),
    Fix(30, 26, "Remove Non Coordination SSNs",
        "Remove Special Sections which do not apply to a coordination notification",
        Run(ROUTINE(RemoveNonCoordinationSsns)), "Deletes coordination sections from coordination notices."),
    Fix(31, 27, "Set freq min and max (beam and grp)", "calculate freq min and max for the beam and group",
        Run(ROUTINE(SetGroupFreqMinMax), ROUTINE(SetBeamFreqMinMax)),
        "Stores the frequency range of each group and each beam."),
    Fix(32, 29, "Round Emission Power Values", "Round emission power values ",
        Run(ROUTINE(RoundEmissionPower)),
        "Rounds emission powers and carrier-to-noise ratios to one decimal."),
    Fix(33, 31, "Set f_active to A", "Set f_active to A", Run(ROUTINE(SetActiveFlags)),
        "Marks every satellite and earth station as active."),
    Fix(34, 32, "Set E Stn Coordination Prov to 9.7A", "Set earth stn coordination prov to 9.7A ",
        Run(ROUTINE(SetEarthStationProvision97A)),
        "Sets the provision of earth-station notices to 9.7A, at data level -1 only."),
    Fix(35, 33, "Fix e_as_stn Ant Pattern", "Fix e_as_stn Antenna Pattern id",
        Run(ROUTINE(RemapObsoletePatternIds)),
        "Renumbers obsolete antenna patterns and lists earth stations whose pattern looks wrong.",
        "renumbers two antenna patterns in every notice"),
    Fix(36, 35, "Fix Antenna Pattern id", "Allign Pattern id and emi rcp", Run(ROUTINE(AlignPatternIds)),
        "Checks antenna patterns against the reference database and converts or clears unknown ones."),
    Fix(37, 36, "Set API Visibile Earth  symbol", "Correct 9.11A applies provision and flag",
        Run(ROUTINE(SetVisibleEarthSymbol)), "Turns region names of added notices into service-area codes."),
    Fix(38, 37, "Fix Provn Adm/Ctry code", "Sort prov table by administration", Run(ROUTINE(FixProvnAdmCode)),
        "Replaces administration code MRC of country AOE by XZZ."),
    Fix(39, 5, "Update Antenna type reference data",
        "Copy Antenna type reference data from the reference database",
        Run(ROUTINE(UpdateAntennaTypeReference)),
        "Replaces the antenna types by those of the reference database.",
        "replaces the table ant_type, which all notices share"),
    Fix(40, 39, "Fix Elevation Angle format", "Sort prov table by administration",
        Run(ROUTINE(RoundElevationAngle)), "Rounds horizon elevation angles to one decimal."),
}};

#undef ROUTINE

constexpr std::array<std::size_t, kFixCount> PlacesByIndex() {
  std::array<std::size_t, kFixCount> places{};
  for (std::size_t i = 0; i < kCatalogue.size(); ++i)
    places[static_cast<std::size_t>(kCatalogue[i].index)] = i;
  return places;
}
constexpr auto kPlaces = PlacesByIndex();

constexpr bool EachIndexStandsOnce() {
  std::array<int, kFixCount> times{};
  for (const FixEntry& fix : kCatalogue) {
    if (fix.index < 0 || fix.index >= kFixCount || times[static_cast<std::size_t>(fix.index)]++ > 0)
      return false;
  }
  return true;
}
constexpr bool StepsAscend() {
  for (std::size_t i = 0; i < kCatalogue.size(); ++i) {
    if (kCatalogue[i].step != static_cast<int>(i) + 1) return false;
  }
  return true;
}
constexpr bool EachBoxHasAPlace() {
  for (const FixEntry& fix : kCatalogue) {
    if (fix.row < 0) return false;
  }
  return std::size(kLeftColumn) + std::size(kMiddleColumn) + std::size(kRightColumn) == kFixCount;
}
static_assert(EachIndexStandsOnce(), "Every index from 0 to kFixCount - 1 must stand once in the catalogue.");
static_assert(StepsAscend(), "The steps of the catalogue must be 1, 2, 3 and so on.");
static_assert(EachBoxHasAPlace(),
              "Every index must stand once in kLeftColumn, kMiddleColumn or kRightColumn.");

}  // namespace

std::span<const FixEntry> FixCatalogue() { return kCatalogue; }

const FixEntry& FixByIndex(int index) { return kCatalogue.at(kPlaces.at(static_cast<std::size_t>(index))); }

}  // namespace vnt
