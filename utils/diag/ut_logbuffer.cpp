// The log buffer: holds toolkit log records back and replays them.

#include <ut/ut_log.h>

namespace ut {

// --- LogBuffer -----------------------------------------------------------------------

LogBuffer::LogBuffer() = default;

LogBuffer::LogBuffer(const LogBuffer& other) : wxLog(), m_records(other.m_records) {}

LogBuffer& LogBuffer::operator=(const LogBuffer& other) {
  if (this != &other) m_records = other.m_records;
  return *this;
}

LogBuffer::~LogBuffer() {
  // Still the active target: withdraw first, or the replay would feed the
  // records back into this buffer and wxWidgets would keep a dangling target.
  if (wxLog::GetActiveTarget() == this) wxLog::SetActiveTarget(nullptr);
  for (const Record& record : m_records) wxLog::OnLog(record.level, record.message, record.info);
  m_records.clear();
}

void LogBuffer::DoLogRecord(wxLogLevel level, const wxString& message, const wxLogRecordInfo& info) {
  m_records.push_back(Record{level, message, info});
}

}  // namespace ut
