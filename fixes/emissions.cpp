// Brings the designation of emission to its full nine characters (seven significant ones, padded with
// hyphens), deletes rows that hold nothing but their keys, clears the emission type flag 'A'.
//
// Tables: emiss (design_emi, f_emi_type, powers), assgn (freq_sym, freq_assgn).
//
// Not to be tidied:
//   - Blanks and line ends go first, so that the two padding statements see the cut lengths.
//   - The third statement compares a tail of two characters with one carriage return: only a designation that
//     is a single carriage return meets it. Seven characters and a carriage return therefore count as eight
//     and are padded with one hyphen.
//   - "SENSOR" is spared by the first two statements only.

#include "fixes/emissions.h"

#include "fixes/statement_list.h"

namespace vnt {
namespace {

constexpr Statement kDesignation[] = {
    {R"(UPDATE emiss SET design_emi = left(design_emi,7) where right(design_emi, 2) = '  ' and left(design_emi, 6) <> 'SENSOR')",
     kAndGroups},
    {R"(UPDATE emiss SET design_emi = left(design_emi,7) where right(emiss.design_emi, 1) = ' ' and left(design_emi, 6) <> 'SENSOR')",
     kAndGroups},
    {"UPDATE emiss SET design_emi = left(design_emi,7) where right(emiss.design_emi, 2) = '\r'", kAndGroups},
    {"UPDATE emiss SET design_emi = left(design_emi,7) where right(emiss.design_emi, 1) = '\n'", kAndGroups},
    {.text = R"(UPDATE emiss SET design_emi = design_emi +  '--' where len(emiss.design_emi) = 7 )",
     .restriction = kAndGroups,
     .ingres = R"(UPDATE emiss SET design_emi = design_emi +  '--' where length(emiss.design_emi) = 7 )"},
    {.text = R"(UPDATE emiss SET design_emi = design_emi +  '-' where len(emiss.design_emi) = 8 )",
     .restriction = kAndGroups,
     .ingres = R"(UPDATE emiss SET design_emi = design_emi +  '-' where length(emiss.design_emi) = 8 )"},
};

constexpr Statement kEmptyRows[] = {
    {R"(Delete from assgn where freq_sym is null and freq_assgn is null )", kAndGroupsWide},
    {R"( DELETE From emiss  Where ((design_emi Is Null or design_emi = '') And (pep_max Is Null) And (pwr_ds_max Is Null) And (pep_min Is Null) And (pwr_ds_min Is Null) And (c_to_n Is Null)))",
     kAndGroupsWide},
};

constexpr Statement kTypeFlag[] = {
    {R"(UPDATE  emiss set f_emi_type = null where  f_emi_type = 'A')", kAndGroups},
};

}  // namespace

void FixDesignationOfEmission() { SendTrapped(kDesignation); }
void DeleteEmptyEmissionRows() { SendTrapped(kEmptyRows); }
void ClearEmissionTypeFlagA() { SendTrapped(kTypeFlag); }

}  // namespace vnt
