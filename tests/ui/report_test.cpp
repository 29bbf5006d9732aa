// What a run did: its rows, the window that shows them, and the backup and its undoing around it.

#include <wx/choice.h>
#include <wx/clipbrd.h>
#include <wx/dataobj.h>
#include <wx/stattext.h>
#include <wx/uiaction.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>

#include "access/file/file.h"
#include "compare/compare.h"
#include "samples/sample_database.h"
#include "tests/ui/window_fixture.h"
#include "ui/report_frame.h"
#include "ui/report_rows.h"
#include "ui/text_list.h"

namespace vnt::ui {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

RunRecord SomeRecord() {
  RunRecord record;
  record.file = "/data/own.mdb";
  const auto add = [&](int index, std::int64_t rows, int milliseconds) -> FixResult& {
    FixResult& fix = record.result.fixes.emplace_back();
    fix.fix = index < 0 ? nullptr : &FixByIndex(index);
    fix.status = FixStatus::kDone;
    fix.rows = rows;
    if (index >= 0) fix.changed = 109 - rows;
    fix.time = std::chrono::milliseconds(milliseconds);
    return fix;
  };
  add(38, 100, 5);
  FixResult& failed = add(6, 9, 900);
  failed.status = FixStatus::kFailed;
  for (int i = 0; i < 3; ++i) failed.errors.emplace_back(94, "test", "Invalid use\tof Null");
  failed.errors.emplace_back(-2147217900, "test", "Syntax error.");
  add(-1, 25, 40);
  return record;
}

TEST(ReportRows, SortByWhatTheyMean) {
  const std::vector<ReportRow> rows = ReportRows(SomeRecord());
  const struct {
    ReportColumn column;
    std::vector<int> steps;
  } cases[] = {
      {ReportColumn::kStep, {1, 2, 3}},    {ReportColumn::kFix, {2, 1, 3}},
      {ReportColumn::kRows, {2, 3, 1}},    {ReportColumn::kSeconds, {1, 3, 2}},
      {ReportColumn::kErrors, {1, 3, 2}},  {ReportColumn::kStatus, {1, 3, 2}},
      {ReportColumn::kChanged, {3, 1, 2}},
  };
  for (const auto& [column, steps] : cases) {
    std::vector<ReportRow> sorted = rows;
    std::ranges::sort(sorted, [&](const auto& a, const auto& b) { return Order(a, b, column) < 0; });
    std::vector<int> found;
    for (const ReportRow& row : sorted) found.push_back(row.step);
    EXPECT_EQ(found, steps) << static_cast<int>(column);
  }
}

TEST(ReportRows, TheHeadSaysWhenTheFileIsNotUpToDate) {
  RunRecord record = SomeRecord();
  EXPECT_EQ(Summary(record).find("Not up to date"), std::string::npos);
  record.result.fixes.back().unsaved = db::DbError(db::kErrFailed, "VNTFixdb", "Somebody reads it.");
  EXPECT_NE(Summary(record).find("\nNot up to date: Somebody reads it."), std::string::npos);
}

TEST(ReportRows, EqualErrorsAreOneLineWithTheirNumber) {
  EXPECT_EQ(ErrorsText(ErrorRows(SomeRecord())),
            "Fix\tNumber\tError\tTimes\n"
            "6. Delete Empty Emission/ Frequency rows\t94\tInvalid use of Null\t3\n"
            "6. Delete Empty Emission/ Frequency rows\t-2147217900\tSyntax error.\t1\n");
}

class ReportTest : public WindowTest {
 protected:
  // The window of that name; null when none is open.
  static wxWindow* Frame(const char* name) {
    for (wxWindow* window : wxTopLevelWindows) {
      if (window->GetName() == name && !window->IsBeingDeleted()) return window;
    }
    return nullptr;
  }
  template <class Control>
  static Control& In(wxWindow& frame, const char* name) {
    auto* control = dynamic_cast<Control*>(wxWindow::FindWindowByName(name, &frame));
    if (control == nullptr) throw std::logic_error(std::string("no control named ") + name);
    return *control;
  }
  static void Press(wxWindow& frame, const char* button) {
    auto& control = In<wxButton>(frame, button);
    wxCommandEvent event(wxEVT_BUTTON, control.GetId());
    event.SetEventObject(&control);
    control.Command(event);
    wxTheApp->ProcessPendingEvents();
  }
  static std::string FileText(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
};

TEST_F(ReportTest, ARunWithErrorsOpensTheReportAfterFixComplete) {
  services_.run = [](const FixSelection&, RunObserver&) { return SomeRecord().result; };
  Window();
  EXPECT_FALSE(Window().GetMenuBar()->IsEnabled(frmMain::mnuViewLastRun));
  Click("Command2");
  ASSERT_THAT(messages_.shown, ElementsAre(ShownMessage("Fix complete.", MessageStyle::kInformation)));
  wxWindow* frame = Frame("ReportFrame");
  ASSERT_NE(frame, nullptr);
  EXPECT_TRUE(frame->IsShown());
  EXPECT_TRUE(Window().IsShown());

  const auto& fixes = In<TextList>(*frame, "Fixes");
  EXPECT_EQ(fixes.Shown(2, 1), "History");
  EXPECT_EQ(fixes.Shown(1, 1), "6. Delete Empty Emission/ Frequency rows");
  EXPECT_EQ(fixes.Shown(1, static_cast<int>(ReportColumn::kErrors)), "4");
  auto& choice = In<wxChoice>(*frame, "SortBy");
  const auto sort_by = [&](int column) {
    choice.SetSelection(column);
    wxCommandEvent event(wxEVT_CHOICE, choice.GetId());
    event.SetInt(column);
    choice.Command(event);
  };
  sort_by(3);
  EXPECT_EQ(fixes.Shown(0, 3), "100") << "the largest first";
  sort_by(3);
  EXPECT_EQ(fixes.Shown(0, 3), "9") << "and turned round";

  services_.new_file = (folder_ / "report.json").string();
  Press(*frame, "SaveReport");
  EXPECT_THAT(ReadFile("report.json"), HasSubstr("\"outcome\": \"errors\""));
  services_.new_file = (folder_ / "report.txt").string();
  Press(*frame, "SaveReport");
  EXPECT_THAT(ReadFile("report.txt"), HasSubstr("outcome: errors\n"));
  services_.new_file = (folder_ / "errors.txt").string();
  Press(*frame, "SaveErrors");
  EXPECT_EQ(ReadFile("errors.txt"), ErrorsText(ErrorRows(SomeRecord())));
  messages_.shown.clear();
  services_.new_file = (folder_ / "nowhere" / "errors.txt").string();
  Press(*frame, "SaveErrors");
  ASSERT_THAT(messages_.shown, SizeIs(1));
  EXPECT_THAT(messages_.shown.front().first, HasSubstr("cannot be written"));
  Press(*frame, "CopyErrors");
  ASSERT_TRUE(wxTheClipboard->Open());
  wxTextDataObject text;
  wxTheClipboard->GetData(text);
  wxTheClipboard->Close();
  EXPECT_EQ(FromWx(text.GetText()), ErrorsText(ErrorRows(SomeRecord())));
}

TEST_F(ReportTest, TheNextRunReplacesTheReport) {
  RunResult result = SomeRecord().result;
  services_.run = [&](const FixSelection&, RunObserver&) { return result; };
  Window();
  Click("Command2");
  result.fixes[1].errors.resize(1, db::DbError(94, "test", "Invalid use of Null"));
  Click("Command2");
  Settle();
  wxWindow* frame = Frame("ReportFrame");
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(In<TextList>(*frame, "Fixes").Shown(1, static_cast<int>(ReportColumn::kErrors)), "1");
  frame->Close(true);
  Settle();
  EXPECT_EQ(Frame("ReportFrame"), nullptr) << "there is one";
}

TEST_F(ReportTest, ARunWithoutErrorsIsShownWhenItIsAskedFor) {
  services_.run = [](const FixSelection&, RunObserver&) {
    RunResult result = SomeRecord().result;
    for (FixResult& fix : result.fixes) fix.errors.clear();
    return result;
  };
  Window();
  Choose(frmMain::mnuViewLastRun);
  EXPECT_EQ(Frame("ReportFrame"), nullptr) << "there was none";
  Click("Command2");
  EXPECT_EQ(Frame("ReportFrame"), nullptr);
  ASSERT_TRUE(Window().GetMenuBar()->IsEnabled(frmMain::mnuViewLastRun));
  Choose(frmMain::mnuViewLastRun);
  Choose(frmMain::mnuViewLastRun);
  wxWindow* frame = Frame("ReportFrame");
  ASSERT_NE(frame, nullptr);
  EXPECT_FALSE(In<wxButton>(*frame, "SaveErrors").IsEnabled());
  Settle();
  wxUIActionSimulator().Char(WXK_ESCAPE);
  Settle();
  EXPECT_EQ(Frame("ReportFrame"), nullptr) << "one window, which Escape closes";
}

// Its message counts the fixes that did not run; their names are here.
TEST_F(ReportTest, ARunThatEndsEarlyOpensTheReport) {
  services_.run = [](const FixSelection&, RunObserver&) {
    RunResult result;
    result.ended_early = true;
    result.fixes.emplace_back().fix = &FixByIndex(38);
    return result;
  };
  Window();
  Click("Command2");
  EXPECT_THAT(messages_.shown, IsEmpty()) << "not complete";
  wxWindow* frame = Frame("ReportFrame");
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(In<TextList>(*frame, "Fixes").Shown(0, 2), "not run");
}

class RealReportTest : public ReportTest {
 protected:
  RealReportTest() {
    sample_ = samples::MakeSample(jet::PlatformFileSystem(), folder_.string(), {.notices = 10});
    WriteSettings("[GLOBAL]\nVeltRefdb=" + sample_.reference + "\nEmptyDBV6=" + sample_.empty_template +
                  "\n");
    services_.chosen_file = sample_.notice;
    Window();
    Choose(frmMain::mnuFileOpen);
  }
  std::string Content() { return FileText(sample_.notice); }
  std::vector<fs::path> Backups() {
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(folder_)) {
      if (entry.path().extension() == ".bak") found.push_back(entry.path());
    }
    return found;
  }

  samples::SampleFiles sample_;
};

TEST_F(RealReportTest, ARunIsBackedUpAndUndoneByteForByte) {
  const std::string before = Content();
  ASSERT_TRUE(Window().GetMenuBar()->IsChecked(frmMain::mnuFileBackUp)) << "on by default";
  Click("Command2");
  const std::string fixed = Content();
  EXPECT_NE(fixed, before);
  ASSERT_THAT(Backups(), SizeIs(1));
  EXPECT_EQ(FileText(Backups().front()), before);

  services_.confirms = false;
  Choose(frmMain::mnuFileUndo);
  EXPECT_EQ(Content(), fixed) << "only when it is confirmed";
  services_.confirms = true;
  Choose(frmMain::mnuFileUndo);
  EXPECT_EQ(Content(), before);
  EXPECT_THAT(services_.preselections, ElementsAre(Answer::kYes, Answer::kYes)) << "it can be undone";
  Choose(frmMain::mnuFileUndo);
  EXPECT_EQ(Content(), fixed) << "undoing can be undone";
  // And the window goes on with what is there now.
  messages_.shown.clear();
  Click("Command2");
  EXPECT_THAT(messages_.shown, ElementsAre(ShownMessage("Fix complete.", MessageStyle::kInformation)));
}

TEST_F(RealReportTest, WithoutTheCheckMarkThereIsNoBackup) {
  wxCommandEvent off(wxEVT_MENU, frmMain::mnuFileBackUp);
  off.SetInt(0);
  Window().ProcessWindowEvent(off);
  Click("Command2");
  EXPECT_THAT(Backups(), IsEmpty());
  messages_.shown.clear();
  Choose(frmMain::mnuFileUndo);
  ASSERT_THAT(messages_.shown, SizeIs(1));
  EXPECT_THAT(messages_.shown.front().first, HasSubstr("There is no backup"));
}

TEST_F(RealReportTest, ABackupThatCannotBeMadeRefusesTheRun) {
  class NoRoom : public jet::FileSystem {
   public:
    explicit NoRoom(jet::FileSystem& base) : base_(base) {}
    std::unique_ptr<jet::File> Open(const std::string& path, jet::OpenMode mode) override {
      if (mode == jet::OpenMode::kCreateNew && path.ends_with(".bak")) Fail();
      return base_.Open(path, mode);
    }
    std::unique_ptr<jet::File> OpenCompanion(const std::string& path, jet::OpenMode mode,
                                             jet::File& owner) override {
      if (path.ends_with(".bak") || path.find(".bak") != std::string::npos) Fail();
      return base_.OpenCompanion(path, mode, owner);
    }
    void CreateWhole(const std::string& path, jet::Bytes content) override {
      base_.CreateWhole(path, content);
    }
    std::string WhyNotCreate(const std::string& path) override { return base_.WhyNotCreate(path); }
    std::uint64_t LinkCount(const std::string& path) override { return base_.LinkCount(path); }
    bool Exists(const std::string& path) override { return base_.Exists(path); }
    void Remove(const std::string& path) override { base_.Remove(path); }
    void Rename(const std::string& from, const std::string& to) override { base_.Rename(from, to); }
    void SyncFolder(const std::string& path) override { base_.SyncFolder(path); }
    std::uint64_t FreeBytes(const std::string&) override { return 4096; }
    std::unique_ptr<jet::File> OpenTemporary() override { return base_.OpenTemporary(); }
    std::string Identity(const std::string& path) override { return base_.Identity(path); }
    std::string ResolveLinks(const std::string& path) override { return base_.ResolveLinks(path); }
    std::string AccessUsers(const std::string& path) override { return base_.AccessUsers(path); }

   private:
    [[noreturn]] static void Fail() { throw jet::Error(jet::ErrorKind::kIo, "There is no room for it."); }
    jet::FileSystem& base_;
  } full(jet::PlatformFileSystem());
  const std::string before = Content();
  state_.db_services.files = &full;
  Click("Command2");
  state_.db_services.files = nullptr;
  ASSERT_THAT(messages_.shown, SizeIs(1));
  EXPECT_THAT(messages_.shown.front().first,
              HasSubstr("No fix was run, because the backup before it cannot be made: "));
  EXPECT_EQ(messages_.shown.front().second, MessageStyle::kCritical);
  EXPECT_EQ(Content(), before);
  EXPECT_THAT(Backups(), IsEmpty());
  EXPECT_FALSE(Window().GetMenuBar()->IsEnabled(frmMain::mnuViewLastRun));
}

TEST_F(RealReportTest, APreviewShowsTheDifferencesAndWritesNothing) {
  const std::string before = Content();
  const auto written = fs::last_write_time(sample_.notice);
  Click("cmdclear");
  Box(7).SetValue(true);
  Click("cmdPreview");
  EXPECT_THAT(messages_.shown, IsEmpty());
  EXPECT_EQ(Content(), before);
  EXPECT_EQ(fs::last_write_time(sample_.notice), written);
  wxWindow* frame = Frame("ReportFrame");
  ASSERT_NE(frame, nullptr);
  EXPECT_THAT(FromWx(frame->GetLabel()), HasSubstr("would change"));
  EXPECT_THAT(FromWx(In<wxStaticText>(*frame, "Summary").GetLabelText()), HasSubstr("Nothing was written."));
  auto& tables = In<TextList>(*frame, "DifferingTables");
  EXPECT_EQ(tables.Shown(0, 0), "assgn");
  const auto& rows = In<TextList>(*frame, "DifferingRows");
  EXPECT_EQ(rows.Shown(0, 0), "\u2260 changed");
  EXPECT_THAT(rows.Shown(0, 2), HasSubstr("freq_sym"));
  const auto& cells = In<TextList>(*frame, "Cells");
  int marked = 0;
  for (unsigned row = 0; row < cells.Rows(); ++row) {
    const bool changed = cells.Shown(row, 2) != cells.Shown(row, 3);
    EXPECT_EQ(cells.Shown(row, 0), changed ? "\u2260" : "") << row;
    marked += changed ? 1 : 0;
  }
  EXPECT_GT(marked, 0);
  // Only the chosen notice.
  auto& notice = In<wxTextCtrl>(*frame, "NoticeOfDifferences");
  notice.SetValue("999999");
  EXPECT_EQ(rows.Rows(), 0U);
  EXPECT_EQ(cells.Rows(), 0U);
  notice.SetValue("");
  EXPECT_GT(rows.Rows(), 0U);
  Click("Command2");
  EXPECT_THAT(messages_.shown, ElementsAre(ShownMessage("Fix complete.", MessageStyle::kInformation)))
      << "the preview holds nothing that a run needs";
}

// As what the run would do, and on as many lines as that takes.
TEST_F(RealReportTest, APreviewTellsInFullWhatWouldBecomeOfATable) {
  Click("cmdclear");
  Box(5).SetValue(true);
  Click("cmdPreview");
  wxWindow* frame = Frame("ReportFrame");
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(In<TextList>(*frame, "DifferingTables").Shown(0, 0), "ant_type");
  for (int round = 0; round < 20; ++round) wxYield();
  auto& remark = In<wxStaticText>(*frame, "DifferenceRemark");
  const std::string text = FromWx(remark.GetLabelText());
  EXPECT_THAT(text, HasSubstr("would be changed from"));
  EXPECT_THAT(text, ::testing::Not(HasSubstr("database")));
  remark.InvalidateBestSize();
  EXPECT_LE(remark.GetBestSize().GetWidth(), remark.GetParent()->GetClientSize().GetWidth());
  EXPECT_LE(remark.GetBestSize().GetHeight(), remark.GetSize().GetHeight());
}

// Also when the database is no longer what it was.
TEST_F(RealReportTest, WhatAPreviewFoundIsSaved) {
  Click("cmdclear");
  Box(7).SetValue(true);
  Click("cmdPreview");
  wxWindow* frame = Frame("ReportFrame");
  ASSERT_NE(frame, nullptr);
  std::map<std::string, std::string> saved;
  for (const char* round : {"before", "after"}) {
    for (const char* kind : {".csv", ".json"}) {
      services_.new_file = (folder_ / (std::string("found-") + round + kind)).string();
      Press(*frame, "SaveDifferences");
      saved[std::string(round) + kind] = FileText(services_.new_file);
    }
    Click("Command2");
  }
  EXPECT_THAT(saved["before.csv"], HasSubstr("\n\"assgn\",\"changed\",\"grp_id="));
  EXPECT_EQ(nlohmann::json::parse(saved["before.json"])["new"], sample_.notice + " after the run");
  EXPECT_THAT(saved["before.json"], HasSubstr("\"freq_sym\": {\"old\": \"M\", \"new\": \"G\"}"));
  EXPECT_EQ(saved["before.csv"], saved["after.csv"]);
  EXPECT_EQ(saved["before.json"], saved["after.json"]);
  messages_.shown.clear();
  services_.new_file = (folder_ / "nowhere" / "found.csv").string();
  Press(*frame, "SaveDifferences");
  ASSERT_THAT(messages_.shown, SizeIs(1));
  EXPECT_THAT(messages_.shown.front().first, HasSubstr("cannot be written"));
}

TEST_F(RealReportTest, APreviewIsRefusedInTheWordsOfARun) {
  Choose(frmMain::mnuFileClose);
  EXPECT_EQ(PanelText(), "no database open");
  Click("cmdPreview");
  EXPECT_THAT(messages_.shown, ElementsAre(ShownMessage("No Database open.  Please open a database to fix.",
                                                        MessageStyle::kInformation)));
  EXPECT_EQ(Frame("ReportFrame"), nullptr);
}

TEST_F(RealReportTest, CompareShowsAndSavesTheDifferences) {
  state_.data_level = 1;
  const std::string copy = (folder_ / "copy.mdb").string();
  fs::copy_file(sample_.notice, copy);
  Click("cmdclear");
  Box(7).SetValue(true);
  Click("Command2");
  messages_.shown.clear();
  services_.comparison = Comparison{"", copy, 0};
  Choose(frmMain::mnutools_compare);
  wxWindow* frame = Frame("CompareFrame");
  ASSERT_NE(frame, nullptr);
  auto& tables = In<TextList>(*frame, "DifferingTables");
  EXPECT_EQ(tables.Shown(0, 0), "assgn");
  services_.new_file = (folder_ / "differences.csv").string();
  Press(*frame, "SaveDifferences");
  EXPECT_THAT(ReadFile("differences.csv"), HasSubstr("\"assgn\",\"changed\","));
  services_.new_file = (folder_ / "differences.json").string();
  Press(*frame, "SaveDifferences");
  EXPECT_EQ(nlohmann::json::parse(ReadFile("differences.json"))["old"], sample_.notice);
  EXPECT_THAT(messages_.shown, IsEmpty());

  services_.comparison = Comparison{"", copy, 999999};
  Choose(frmMain::mnutools_compare);
  ASSERT_THAT(messages_.shown, SizeIs(1));
  EXPECT_THAT(messages_.shown.front().first, HasSubstr("Neither database has a notice 999999."));
}

}  // namespace
}  // namespace vnt::ui
