// The thread log, debugger output and the log stamp.

#include <ut/ut_log.h>

#include "ut_platform.h"

#include "OdString.h"

#include <wx/datetime.h>
#include <wx/thread.h>

#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <string>
#include <string_view>

namespace {

// Formats with the wide printf conventions shared with the SDK strings (a
// bare %s takes a wide argument). Empty when `format` is null or formatting
// fails.
std::wstring formatWide(const wchar_t* format, va_list args) {
  if (!format) return {};
  OdString text;
  text.formatV(format, args);
  return std::wstring(text.c_str(), static_cast<std::size_t>(text.getLength()));
}

void replaceAll(std::wstring& text, std::wstring_view from, std::wstring_view to) {
  std::size_t at = 0;
  while ((at = text.find(from, at)) != std::wstring::npos) {
    text.replace(at, from.size(), to);
    at += to.size();
  }
}

}  // namespace

namespace ut {

// --- ThreadLog -------------------------------------------------------------------------

ThreadLog::ThreadLog() : m_outputFunc(&ThreadLog::defaultOutputFunc) {}

ThreadLog::~ThreadLog() = default;

ThreadLog& ThreadLog::get() {
  static ThreadLog log;
  return log;
}

void ThreadLog::defaultOutputFunc(const wchar_t* line) { platform::outputDebugString(line ? line : L""); }

ThreadLog::OutputFunc ThreadLog::setOutputFunc(OutputFunc func) {
  const std::lock_guard<std::recursive_mutex> guard(m_lock);
  const OutputFunc previous = m_outputFunc;
  m_outputFunc = func ? func : &ThreadLog::defaultOutputFunc;
  return previous;
}

void ThreadLog::print(const wchar_t* text) {
  const std::lock_guard<std::recursive_mutex> guard(m_lock);
  const std::uint64_t id = wxThread::GetCurrentId();

  std::size_t column = 0;
  while (column < m_threads.size() && m_threads[column] != id) ++column;
  if (column == m_threads.size()) m_threads.push_back(id);

  const std::uint64_t mainId = wxThread::GetMainId();
  const bool isMain = mainId == 0 || id == mainId;
  wchar_t prefix[48];
  std::swprintf(prefix, std::size(prefix), L"%#lx%ls> ", static_cast<unsigned long>(id), isMain ? L"*" : L"");

  std::wstring line(2 * column, L' ');
  line += prefix;
  if (text) line += text;
  line += L'\n';
  m_outputFunc(line.c_str());
}

void ThreadLog::printf(const wchar_t* format, ...) {
  constexpr std::size_t kMaxCharacters = 2048;
  va_list args;
  va_start(args, format);
  std::wstring text = formatWide(format, args);
  va_end(args);
  if (text.size() > kMaxCharacters) text.resize(kMaxCharacters);
  print(text.c_str());
}

// --- debugger output and log stamp ---------------------------------------------------

void outputDebugString(const wchar_t* format, ...) {
  if (!format) return;
  va_list args;
  va_start(args, format);
  std::wstring text = formatWide(format, args);
  va_end(args);
  replaceAll(text, L"\t", L"        ");
  replaceAll(text, L"\n", L"\r\n");
  platform::outputDebugString(text);
}

const char* getLogStamp() {
  static char s_stamp[256];
  const wxDateTime now = wxDateTime::Now();
  std::snprintf(s_stamp, sizeof s_stamp,
                "\n--------------- %02d-%02d-%04d %02d:%02d:%02d --------------- v%s%s ---------------",
                static_cast<int>(now.GetDay()), static_cast<int>(now.GetMonth()) + 1, now.GetYear(),
                static_cast<int>(now.GetHour()), static_cast<int>(now.GetMinute()), static_cast<int>(now.GetSecond()),
                UT_VERSION_TEXT, "");
  return s_stamp;
}

}  // namespace ut
