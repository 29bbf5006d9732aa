#include "tests/cli/server/notice_source.h"

#include "tests/db/postgres_server.h"

namespace vnt::test {
namespace {

// Access SQL; rows are chosen by their keys, so that every kind of notice gets some.
constexpr char kHardRows[] = R"(
update grp set prov = ' 9.1/IA ' where grp_id mod 11 = 3;
update grp set prov = '' where grp_id mod 11 = 4;
update grp set area_name = 'Region 1' where grp_id mod 13 = 2;
update grp set area_name = 'visible earth' where grp_id mod 13 = 5;
update grp set area_name = 'Äußere Zone é' where grp_id mod 13 = 7;
update grp set d_inuse = #3/4/1866 06:30:00# where grp_id mod 9 = 1;
update grp set d_inuse = #11/30/1899 23:59:59# where grp_id mod 9 = 2;
update grp set d_inuse = #2/29/1904# where grp_id mod 9 = 4;
update grp set d_prot_eff = null where grp_id mod 5 = 1;
update grp set d_prot_eff = #12/29/1899 18:00:00# where grp_id mod 5 = 2;
update grp set beam_name = ' B' & right(grp_id, 3) & ' ' where grp_id mod 17 = 6;
update grp set [comment] = '', wic_no = null where grp_id mod 6 = 2;
update grp set noise_t = 0.1, pwr_max = -1.17549e-38 where grp_id mod 8 = 2;
update notice set prov = '9.6-21.4-22G ' where ntc_id mod 7 = 1;
update notice set prov = ' RS46' where ntc_id mod 7 = 2;
update notice set prov = null, plan_id = null, act_code = null where ntc_id mod 7 = 3;
update notice set f_aa_type = 'R' where ntc_id mod 5 = 0;
update notice set d_rcv = #1/1/1066# where ntc_id mod 4 = 1;
update notice set d_rcv = null where ntc_id mod 4 = 2;
update notice set remarks = string(9000, 'ß') & 'end''s "quotes" \ {and} ?' where ntc_id mod 3 = 0;
update notice set remarks = '' where ntc_id mod 3 = 1;
update com_el set long_nom = null, prov = ' S9.1/IA ' where ntc_id mod 3 = 0;
update com_el set long_nom = 0 where ntc_id mod 3 = 1;
update com_el set sat_name = 'Ärger' where ntc_id mod 4 = 0;
update emiss set design_emi = '' where grp_id mod 10 = 1 and seq_no = 1;
update emiss set design_emi = null where grp_id mod 10 = 2 and seq_no = 1;
update emiss set design_emi = '36M0G7W' & chr(13) where grp_id mod 10 = 3;
update emiss set design_emi = '36M0G7W' & chr(10) where grp_id mod 10 = 4;
update emiss set design_emi = '36M0G7ä' where grp_id mod 10 = 5;
update emiss set pep_max = 2.25, pwr_ds_max = -0.35, c_to_n = 0.15, pep_min = 1e300 where grp_id mod 6 = 0;
update emiss set pep_max = 12.35, pwr_ds_nbw = 5.05, pwr_ds_min = -0.05 where grp_id mod 6 = 1;
update assgn set freq_mhz = 1234.5 where grp_id mod 4 = 1;
update assgn set freq_mhz = null where grp_id mod 4 = 2 and seq_no mod 2 = 0;
update assgn set freq_assgn = 10500.123455, freq_mhz = null where grp_id mod 8 = 3 and seq_no = 2;
update assgn set freq_sym = null, freq_assgn = null where grp_id mod 8 = 5 and seq_no = 1;
update assgn set f_cmp_rec = chr(64 + (seq_no mod 20)) where grp_id mod 4 = 1;
update provn set adm = null where grp_id mod 5 = 1;
update provn set adm = 'MRC', ctry = 'AOE' where grp_id mod 5 = 2 and seq_no = 1;
update provn set ctry = chr(65 + (seq_no mod 20)), adm = 'F', ntwk_org = null where grp_id mod 5 = 3;
update tr_provn set ntwk_org = '' where ntc_id mod 2 = 0;
update gpub set pub_ref = ' WKLY ' where grp_id mod 6 = 1 and seq_no = 1;
update gpub set pub_ref = 'AR11/C/', ssn_type = null where grp_id mod 6 = 2 and seq_no = 2;
update e_as_stn set stn_name = 'straße ÿ œ', pattern_id = 506 where grp_id mod 5 = 1;
update e_as_stn set pattern_id = 150, stn_name = null where grp_id mod 5 = 2;
update s_beam set sr_type = null, ang_alpha = 1.5, pattern_id = null where ntc_id mod 2 = 0;
update hor_elev set elev_ang = 0.25 where azm mod 3 = 0;
update hor_elev set elev_ang = -12.349999999999999 where azm mod 3 = 1;
update diag_grp set diag_type = 'SMK ' where diag_type = 'SMK';
)";

}  // namespace

NoticeSource::NoticeSource() {
  db::PostgresServer::Get();
  admin_.Open("PROVIDER=MSDASQL; DSN=TLKP-ING; UID=postgres;PWD=;");
}

void NoticeSource::MakeHardSample(const std::string& format, const char* notices) {
  const cli::Outcome made = cli::RunCli({"sample", At(""), "--notices", notices, "--format", format});
  ASSERT_EQ(made.code, cli::kOk) << made.err;
  file_ = At(format == "jet4" ? "notices.mdb" : "notices.accdb");
  const cli::Outcome hard = cli::RunCli({"sql", file_}, kHardRows);
  ASSERT_EQ(hard.code, cli::kOk) << hard.err;
}

void NoticeSource::Seed(const std::string& file) {
  admin_.Execute("DROP SCHEMA IF EXISTS seed CASCADE; DROP SCHEMA public CASCADE; CREATE SCHEMA public");
  const cli::Outcome copied = cli::RunCli({"copy", file, kSource, kUser});
  ASSERT_EQ(copied.code, cli::kOk) << copied.err;
  admin_.Execute("ALTER SCHEMA public RENAME TO seed; CREATE SCHEMA public");
  Restore();
}

// Tables, indexes under their names, remarks; the numbers of rows go on where those of the seed ended.
void NoticeSource::Restore() {
  admin_.Execute(
      "DROP SCHEMA public CASCADE; CREATE SCHEMA public; CREATE SEQUENCE public.vnt_row_seq START 10000000; "
      "DO $$ DECLARE t record; i record; BEGIN "
      "FOR t IN SELECT tablename AS name FROM pg_tables WHERE schemaname = 'seed' LOOP "
      "EXECUTE format('CREATE TABLE public.%I (LIKE seed.%I INCLUDING DEFAULTS INCLUDING CONSTRAINTS "
      "INCLUDING "
      "IDENTITY INCLUDING COMMENTS) WITH (fillfactor = 50)', t.name, t.name); "
      "EXECUTE format('ALTER TABLE public.%I ALTER vnt_row SET DEFAULT nextval(''public.vnt_row_seq'')', "
      "t.name); "
      "EXECUTE format('INSERT INTO public.%I SELECT * FROM seed.%I', t.name, t.name); END LOOP; "
      "FOR i IN SELECT pg_get_indexdef(x.indexrelid) AS def, x.indisprimary, c.relname AS tab, n.relname AS "
      "name, "
      "pg_get_constraintdef(k.oid) AS con FROM pg_index x JOIN pg_class c ON c.oid = x.indrelid "
      "JOIN pg_class n ON n.oid = x.indexrelid LEFT JOIN pg_constraint k ON k.conindid = n.oid "
      "WHERE c.relnamespace = 'seed'::regnamespace LOOP "
      "IF i.con IS NULL THEN EXECUTE replace(i.def, ' ON seed.', ' ON public.'); ELSE "
      "EXECUTE format('ALTER TABLE public.%I ADD CONSTRAINT %I %s', i.tab, i.name, i.con); END IF; END LOOP; "
      "END $$");
}

cli::Outcome NoticeSource::Fix(const std::string& database, std::vector<std::string> options) {
  const std::string extension = file_.substr(file_.rfind('.'));
  std::vector<std::string> arguments = {
      "fix", database, "--reference", At("reference" + extension), "--template", At("template" + extension)};
  arguments.insert(arguments.end(), options.begin(), options.end());
  if (database == kSource) arguments.push_back(kUser);
  return cli::RunCli(arguments);
}

std::string NoticeSource::Rows(const std::string& database, const std::string& query) {
  std::vector<std::string> arguments = {"sql", database, query, "--csv"};
  if (database.starts_with("dsn:")) arguments.push_back(kUser);
  const cli::Outcome outcome = cli::RunCli(arguments);
  EXPECT_EQ(outcome.code, cli::kOk) << outcome.err;
  return outcome.out;
}

std::string NoticeSource::DifferenceAfter(const std::vector<std::string>& options) {
  const std::string copy = At("copy" + file_.substr(file_.rfind('.')));
  std::filesystem::copy_file(PathOf(file_), PathOf(copy), std::filesystem::copy_options::overwrite_existing);
  Restore();
  const cli::Outcome on_file = Fix(copy, options), on_server = Fix(kSource, options);
  std::string difference;
  if (on_file.code != on_server.code)
    difference += "exit " + std::to_string(on_file.code) + " and " + std::to_string(on_server.code) + ": " +
                  on_file.err + on_server.err;
  // The history tells the time.
  const std::string history =
      "select ntc_id, seq_no, oper_id, st_cur, left(hist_text, 12) from history "
      "order by ntc_id, seq_no";
  if (Rows(copy, history) != Rows(kSource, history)) difference += "the history is another; ";
  if (cli::RunCli({"sql", copy, "delete from history"}).code != cli::kOk ||
      cli::RunCli({"sql", kSource, "delete from history", kUser}).code != cli::kOk)
    difference += "the history cannot be deleted; ";
  const cli::Outcome diff = cli::RunCli({"diff", copy, kSource, kUser});
  if (diff.code != cli::kOk) difference += diff.out.substr(0, 2000) + diff.err;
  // How many rows each fix wrote is the same, too.
  const auto without_times = [](std::string text) {
    std::string kept;
    for (std::size_t at = 0; at < text.size();) {
      const std::size_t end = std::min(text.find('\n', at), text.size());
      const std::string line = text.substr(at, end - at);
      if (const std::size_t rows = line.find(" rows "); rows != std::string::npos && line[2] == ' ')
        kept += line.substr(0, rows) + '\n';
      at = end + 1;
    }
    return kept;
  };
  if (without_times(on_file.out) != without_times(on_server.out))
    difference += "other rows are told: " + on_file.out + on_server.out;
  return difference;
}

}  // namespace vnt::test
