#include "ut_command_report.h"

#include <wx/log.h>

#include <cstdio>
#include <filesystem>
#include <mutex>
#include <system_error>

namespace ut::tool {

const char CommandReport::kError[] = "UT_TOOL_ERROR";
const char CommandReport::kWarning[] = "UT_TOOL_WARNING";
const char CommandReport::kNote[] = "UT_TOOL_NOTE";

namespace {

void registerKinds() {
  static std::once_flag once;
  std::call_once(once, [] {
    auto& registry = ReporterMessageRegistry::instance();
    registry.registerMessage(CommandReport::kError, IReporterMessage::eSeverityError, IReporterMessage::eHighlightNone,
                             std::wstring(L"error"));
    registry.registerMessage(CommandReport::kWarning, IReporterMessage::eSeverityWarning,
                             IReporterMessage::eHighlightNone, std::wstring(L"warning"));
    registry.registerMessage(CommandReport::kNote, IReporterMessage::eSeverityMessage, IReporterMessage::eHighlightNone,
                             std::wstring(L"note"));
  });
}

std::string utf8(const std::wstring& text) {
  // The buffer may point into the string: keep the string alive.
  const wxString string(text);
  const wxScopedCharBuffer buffer = string.utf8_str();
  return std::string(buffer.data(), buffer.length());
}

}  // namespace

// Turns the wxLog records of the command into messages of its report.
class CommandReport::LogCollector : public wxLog {
 public:
  explicit LogCollector(CommandReport& report) : m_report(report), m_previous(wxLog::SetActiveTarget(this)) {}
  ~LogCollector() override { wxLog::SetActiveTarget(m_previous); }
  LogCollector(const LogCollector&) = delete;
  LogCollector& operator=(const LogCollector&) = delete;

 protected:
  void DoLogRecord(wxLogLevel level, const wxString& text, const wxLogRecordInfo&) override {
    if (level <= wxLOG_Error)
      m_report.addError(text);
    else if (level == wxLOG_Warning)
      m_report.addWarning(text);
    else if (level <= wxLOG_Info)
      m_report.addNote(text);
  }

 private:
  CommandReport& m_report;
  wxLog* m_previous;
};

CommandReport::CommandReport(std::string command) : m_command(std::move(command)) {
  registerKinds();
  m_collector = std::make_unique<LogCollector>(*this);
}

CommandReport::~CommandReport() {
  // Put the previous log target back first, then print what was left.
  m_collector.reset();
  showReport();
}

void CommandReport::addError(const wxString& text) { addMessage(kError, text.ToStdWstring()); }
void CommandReport::addWarning(const wxString& text) { addMessage(kWarning, text.ToStdWstring()); }
void CommandReport::addNote(const wxString& text) { addMessage(kNote, text.ToStdWstring()); }

void CommandReport::showReport() {
  deliverToTargets();
  const std::string prefix = m_command.empty() ? "ut: " : "ut: " + m_command + ": ";
  for (const auto& message : messages()) {
    const std::string line = prefix + utf8(message->message()) + ": " + utf8(message->additionalInfo()) + "\n";
    std::fputs(line.c_str(), stderr);
  }
  std::fflush(stderr);
  clearMessages();
}

void CommandReport::deliverToTargets() {
  for (const auto& target : targets()) target->deliver(reportTitle(), messages());
}

int CommandReport::finish() {
  showReport();
  return hasErrors() ? 1 : 0;
}

bool runLongStep(ProgressBar& bar, CommandReport& report, const wxString& message, const std::function<bool()>& step,
                 const wxString& dataFile) {
  bar.start(OdString(message.wc_str()));
  const bool ok = step();
  if (!dataFile.empty()) {
    std::error_code error;
    const auto size = std::filesystem::file_size(std::filesystem::path(dataFile.utf8_string()), error);
    if (!error) bar.setBytes(static_cast<std::int64_t>(size), static_cast<std::int64_t>(size));
  }
  if (ok) bar.finish();
  bar.stop();
  if (bar.isCanceled())
    report.addWarning(L"interrupted, but \"" + message + L"\" could not stop half way and ran to its end");
  return ok;
}

}  // namespace ut::tool
