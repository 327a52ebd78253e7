#include <gtest/gtest.h>

#include <ut/ut_log.h>

#include <wx/log.h>

#include <string>
#include <vector>

namespace {

// A log target that remembers what reaches it: level, text and source file.
class RecordingLog : public wxLog {
 public:
  std::vector<std::string> texts;
  std::vector<wxLogLevel> levels;
  std::vector<std::string> files;

 protected:
  void DoLogRecord(wxLogLevel level, const wxString& message, const wxLogRecordInfo& info) override {
    texts.push_back(message.utf8_string());
    levels.push_back(level);
    files.emplace_back(info.filename ? info.filename : "");
  }
};

// Installs a target for one test and puts the previous one back.
class ActiveTarget {
 public:
  explicit ActiveTarget(wxLog* target) : m_previous(wxLog::SetActiveTarget(target)) {}
  ~ActiveTarget() { wxLog::SetActiveTarget(m_previous); }
  ActiveTarget(const ActiveTarget&) = delete;
  ActiveTarget& operator=(const ActiveTarget&) = delete;

 private:
  wxLog* m_previous;
};

TEST(LogBufferTest, ReplaysEveryRecordInOrderToTheTargetActiveAtDestruction) {
  RecordingLog early, late;
  const ActiveTarget restore(&early);
  {
    ut::LogBuffer buffer;
    wxLog::SetActiveTarget(&buffer);
    wxLogMessage("first %d", 1);
    wxLogWarning("second");
    wxLogError("third");
    for (int i = 0; i < 100; ++i) wxLogMessage("bulk %d", i);
    wxLog::SetActiveTarget(&early);
    wxLogMessage("direct");
    wxLog::SetActiveTarget(&late);
    EXPECT_TRUE(late.texts.empty()) << "nothing may pass before destruction";
  }
  EXPECT_EQ(early.texts, std::vector<std::string>{"direct"});
  std::vector<std::string> expected{"first 1", "second", "third"};
  for (int i = 0; i < 100; ++i) expected.push_back("bulk " + std::to_string(i));
  EXPECT_EQ(late.texts, expected);
  ASSERT_EQ(late.levels.size(), 103u);
  EXPECT_EQ(late.levels[0], wxLOG_Message);
  EXPECT_EQ(late.levels[1], wxLOG_Warning);
  EXPECT_EQ(late.levels[2], wxLOG_Error);
  // The record information travels with the record.
  EXPECT_NE(late.files[0].find("logbuffer_test.cpp"), std::string::npos);
}

}  // namespace
