#include <gtest/gtest.h>

#include <ut/ut_log.h>

#include <wx/log.h>

#include <memory>
#include <string>
#include <vector>

namespace {

// A log target that remembers what reaches it.
class RecordingLog : public wxLog {
 public:
  struct Entry {
    wxLogLevel level;
    std::string text;
    std::string file;
    int line;
  };
  std::vector<Entry> entries;

 protected:
  void DoLogRecord(wxLogLevel level, const wxString& message, const wxLogRecordInfo& info) override {
    entries.push_back({level, message.utf8_string(), info.filename ? info.filename : "", info.line});
  }
};

// Installs a target for one test and puts the previous one back, without
// deleting anything the test owns.
class ActiveTarget {
 public:
  explicit ActiveTarget(wxLog* target) : m_previous(wxLog::SetActiveTarget(target)) {}
  ~ActiveTarget() { wxLog::SetActiveTarget(m_previous); }
  ActiveTarget(const ActiveTarget&) = delete;
  ActiveTarget& operator=(const ActiveTarget&) = delete;

 private:
  wxLog* m_previous;
};

std::vector<std::string> texts(const RecordingLog& log) {
  std::vector<std::string> out;
  for (const auto& e : log.entries) out.push_back(e.text);
  return out;
}

TEST(LogBufferTest, HoldsRecordsBackAndReplaysThemInOrder) {
  RecordingLog sink;
  const ActiveTarget restore(&sink);
  {
    ut::LogBuffer buffer;
    wxLog::SetActiveTarget(&buffer);
    wxLogMessage("first %d", 1);
    wxLogWarning("second");
    wxLogError("third");
    for (int i = 0; i < 100; ++i) wxLogMessage("bulk %d", i);
    EXPECT_TRUE(sink.entries.empty()) << "nothing may pass before destruction";
    wxLog::SetActiveTarget(&sink);
    EXPECT_TRUE(sink.entries.empty());
  }
  ASSERT_EQ(sink.entries.size(), 103u);
  EXPECT_EQ(sink.entries[0].text, "first 1");
  EXPECT_EQ(sink.entries[0].level, wxLOG_Message);
  EXPECT_EQ(sink.entries[1].text, "second");
  EXPECT_EQ(sink.entries[1].level, wxLOG_Warning);
  EXPECT_EQ(sink.entries[2].text, "third");
  EXPECT_EQ(sink.entries[2].level, wxLOG_Error);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(sink.entries[3 + i].text, "bulk " + std::to_string(i));
  // The record information travels with the record.
  EXPECT_NE(sink.entries[0].file.find("logbuffer_test.cpp"), std::string::npos);
  EXPECT_GT(sink.entries[0].line, 0);
}

TEST(LogBufferTest, ReplaysToTheTargetActiveAtDestruction) {
  RecordingLog early, late;
  const ActiveTarget restore(&early);
  {
    ut::LogBuffer buffer;
    wxLog::SetActiveTarget(&buffer);
    wxLogMessage("held");
    wxLog::SetActiveTarget(&early);
    wxLogMessage("direct");
    wxLog::SetActiveTarget(&late);
  }
  EXPECT_EQ(texts(early), std::vector<std::string>{"direct"});
  EXPECT_EQ(texts(late), std::vector<std::string>{"held"});
}

TEST(LogBufferTest, NestedBuffersReplayIntoEachOther) {
  RecordingLog sink;
  const ActiveTarget restore(&sink);
  {
    ut::LogBuffer outer;
    wxLog::SetActiveTarget(&outer);
    wxLogMessage("outer 1");
    {
      ut::LogBuffer inner;
      wxLog::SetActiveTarget(&inner);
      wxLogMessage("inner");
      wxLog::SetActiveTarget(&outer);
    }
    wxLogMessage("outer 2");
    EXPECT_TRUE(sink.entries.empty());
    wxLog::SetActiveTarget(&sink);
  }
  EXPECT_EQ(texts(sink), (std::vector<std::string>{"outer 1", "inner", "outer 2"}));
}

TEST(LogBufferTest, EmptyBufferReplaysNothing) {
  RecordingLog sink;
  const ActiveTarget restore(&sink);
  { ut::LogBuffer buffer; }
  EXPECT_TRUE(sink.entries.empty());
}

TEST(LogBufferTest, CopiesCarryTheRecords) {
  RecordingLog sink;
  const ActiveTarget restore(&sink);
  {
    auto original = std::make_unique<ut::LogBuffer>();
    wxLog::SetActiveTarget(original.get());
    wxLogMessage("one");
    wxLogMessage("two");
    wxLog::SetActiveTarget(&sink);
    const ut::LogBuffer copy(*original);
    ut::LogBuffer assigned;
    assigned = *original;
    original.reset();
    EXPECT_EQ(texts(sink), (std::vector<std::string>{"one", "two"}));
    sink.entries.clear();
  }
  // assigned, then copy (reverse order of construction)
  EXPECT_EQ(texts(sink), (std::vector<std::string>{"one", "two", "one", "two"}));
}

TEST(LogBufferTest, DestroyedWhileActiveWithdrawsAndKeepsItsRecords) {
  RecordingLog sink;
  const ActiveTarget restore(&sink);
  std::string captured;
  const void* destroyed = nullptr;
  {
    ut::LogBuffer buffer;
    destroyed = &buffer;
    wxLog::SetActiveTarget(&buffer);
    wxLogMessage("still buffered");
    ::testing::internal::CaptureStderr();
  }
  // wxWidgets is no longer pointed at the dead buffer: logging works and lands
  // in whatever target it falls back to, not in freed memory.
  wxLog* fallback = wxLog::GetActiveTarget();
  EXPECT_NE(static_cast<const void*>(fallback), destroyed);
  wxLog::FlushActive();
  captured = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(captured.find("still buffered"), std::string::npos) << captured;
  EXPECT_TRUE(sink.entries.empty());
  delete wxLog::SetActiveTarget(&sink);  // the fallback target is ours to delete
}

}  // namespace
