// Powers and carrier-to-noise ratio to one decimal, frequencies to five, horizon elevation angles to one, all
// by the database's own round().
//
// Tables: emiss, assgn, freq, hor_elev.
//
// Not to be tidied:
//   - On Ingres nothing is sent at all.
//   - Without a notice there is no condition: every row is rewritten, also those that are round already.

#include "fixes/rounding.h"

#include "fixes/statement_list.h"
#include "program/program_state.h"

namespace vnt {
namespace {

constexpr Statement kEmissionPower[] = {
    {R"(Update emiss set pep_max = round(pep_max,1), pwr_ds_max = round(pwr_ds_max,1), pep_min = round(pep_min,1), pwr_ds_min = round(pwr_ds_min,1), c_to_n = round(c_to_n,1), pwr_ds_nbw = round(pwr_ds_nbw,1))",
     kWhereGroups},
};

constexpr Statement kFrequencies[] = {
    {R"(Update assgn set freq_assgn = round(freq_assgn,5), freq_mhz = round(freq_mhz,5))", kWhereGroups},
    {R"(Update freq set freq_assgn = round(freq_assgn,5), freq_mhz = round(freq_mhz,5), freq_min = round(freq_min,5), freq_max = round(freq_max,5))",
     kWhereNotice},
};

constexpr Statement kElevationAngle[] = {
    {R"(Update hor_elev set elev_ang = round(elev_ang,1))", kWhereNotice},
};

void SendToAccess(std::span<const Statement> statements) {
  if (IsIngres()) return;
  SendTrapped(statements);
}

}  // namespace

void RoundEmissionPower() { SendToAccess(kEmissionPower); }
void RoundFrequencies() { SendToAccess(kFrequencies); }
void RoundElevationAngle() { SendToAccess(kElevationAngle); }

}  // namespace vnt
