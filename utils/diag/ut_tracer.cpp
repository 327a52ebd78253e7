// The tracer and its companions: the indenter and the API scope logger.

#include <ut/ut_log.h>
#include <ut/ut_reporter_message.h>
#include <ut/ut_tracer.h>

#include "ut_platform.h"

#include <wx/thread.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <iomanip>
#include <iostream>
#include <locale>
#include <optional>
#include <type_traits>
namespace {

// Integer value of an environment variable with the conversion rules of
// atoi: leading white space, an optional sign, the digits up to the first
// non-digit; no digits give 0. Values beyond the range of int saturate
// instead of being undefined.
std::optional<int> environmentInteger(const char* name) {
  const auto text = ut::platform::environmentVariable(name);
  if (!text) return std::nullopt;
  const long value = std::strtol(text->c_str(), nullptr, 10);
  return static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
}

// The longest text the wide-string operator writes: a buffer of 512 bytes
// with its terminator.
constexpr std::size_t kMaxNarrowedBytes = 511;

// `text` in the multibyte encoding of the process locale, cut to at most
// kMaxNarrowedBytes without splitting a character.
std::string narrowForTrace(const wchar_t* text) {
  std::string bytes = ut::platform::toAnsi(text);
  if (bytes.size() <= kMaxNarrowedBytes) return bytes;
  std::mbstate_t state{};
  std::size_t end = 0;
  while (end < bytes.size()) {
    std::size_t length = std::mbrlen(bytes.data() + end, bytes.size() - end, &state);
    if (length == 0) length = 1;                                                 // an embedded null is one byte
    if (length > bytes.size() - end || end + length > kMaxNarrowedBytes) break;  // invalid, or would not fit
    end += length;
  }
  bytes.resize(end);
  return bytes;
}

}  // namespace

// --- UtTracer ------------------------------------------------------------------------

constinit std::atomic<ut::SafeTracerAccessorLock*> ut::SafeTracerAccessor::m_pLock{nullptr};

UtTracer UtTracer::m_sTracer;

UtTracer::UtTracer() : m_indent(0), m_envTraceLevel(-1), m_traceLevel(-1), m_area(0) { readEnvVar(); }

UtTracer::~UtTracer() { freeStream(); }

std::ostream& UtTracer::stream() {
  if (m_stream.is_open()) return m_stream;
  return std::cout;
}

void UtTracer::readEnvVar() { m_envTraceLevel = environmentInteger("TDM_LOG_LEVEL").value_or(-1); }

void UtTracer::readArea() { m_area = environmentInteger("TDM_LOG_AREA").value_or(-1); }

void UtTracer::openStream() {
  // Straight to the file buffer: opening an already open file must fail and
  // leave the stream failed, which silences it until the next setStreamName.
  if (m_stream.rdbuf()->open(m_streamName, std::ios::out | std::ios::trunc))
    m_stream.clear();
  else
    m_stream.setstate(std::ios::failbit);
  m_stream.precision(16);
}

void UtTracer::setStreamName(const char* name) {
  freeStream();
  readEnvVar();
  m_traceLevel = m_envTraceLevel.load();
  m_streamName = name ? name : "";
  if (m_traceLevel < 0) return;
  m_area = std::max(0, environmentInteger("TDM_LOG_AREA").value_or(0));
  if (!name) return;
  openStream();
}

void UtTracer::setStreamName(const char* name, int level, int area) {
  freeStream();
  m_traceLevel = level;
  m_streamName = name ? name : "";
  if (level < 0) return;
  m_area = std::max(0, area);
  if (!name) return;
  openStream();
}

void UtTracer::setTraceLevel(int level) {
  if (level == m_traceLevel) return;
  m_traceLevel = level;
  if (level < 0) return;
  openStream();
}

void UtTracer::freeStream() {
  if (m_stream.is_open() && !m_stream.rdbuf()->close()) m_stream.setstate(std::ios::failbit);
  m_traceLevel = -1;
  if (m_indent != 0) ut::callAssert("0 == m_indent", nullptr, "src/utils/ut_log", 198);
  m_indent = 0;
}

void UtTracer::incIndent() { m_indent += 2; }

void UtTracer::decIndent() {
  int indent = m_indent.load();
  while (!m_indent.compare_exchange_weak(indent, std::max(0, indent - 2))) {}
}

UtTracer& UtTracer::str(int level) {
  std::ostream& out = stream();
  out << level << "> " << std::setw(m_indent.load(std::memory_order_relaxed)) << "";
  return *this;
}

UtTracer& UtTracer::operator<<(int value) {
  stream() << value;
  return *this;
}

UtTracer& UtTracer::operator<<(long value) {
  stream() << value;
  return *this;
}

UtTracer& UtTracer::operator<<(unsigned int value) {
  stream() << value;
  return *this;
}

UtTracer& UtTracer::operator<<(unsigned long value) {
  stream() << value;
  return *this;
}

UtTracer& UtTracer::operator<<(long long value) {
  stream() << value;
  return *this;
}

UtTracer& UtTracer::operator<<(unsigned long long value) {
  stream() << value;
  return *this;
}

UtTracer& UtTracer::operator<<(double value) {
  stream() << value;
  return *this;
}

UtTracer& UtTracer::operator<<(std::thread::id id) {
  // The identifier holds the native thread handle, the same value that
  // wxThread::GetCurrentId() and the thread log show.
  using Native = std::thread::native_handle_type;
  static_assert(sizeof(std::thread::id) == sizeof(Native) && std::is_trivially_copyable_v<std::thread::id>);
  stream() << static_cast<unsigned long long>(std::bit_cast<Native>(id));
  return *this;
}

UtTracer& UtTracer::operator<<(bool value) {
  stream() << (value ? "TRUE" : "FALSE");
  return *this;
}

UtTracer& UtTracer::operator<<(const void* pointer) {
  if (pointer)
    stream() << pointer;
  else
    stream() << "NULL PTR";
  return *this;
}

UtTracer& UtTracer::operator<<(const char* const text) {
  // A null pointer would put the stream into a failed state for good.
  if (text) stream() << text;
  return *this;
}

UtTracer& UtTracer::operator<<(const std::string& text) {
  stream() << text;
  return *this;
}

UtTracer& UtTracer::operator<<(const wchar_t* text) {
  if (text) stream() << narrowForTrace(text);
  return *this;
}

UtTracer& UtTracer::operator<<(const std::wstring& text) {
  std::ostream& out = stream();
  std::string narrow(text.size(), '\0');
  std::use_facet<std::ctype<wchar_t>>(out.getloc()).narrow(text.data(), text.data() + text.size(), '?', narrow.data());
  out << narrow;
  return *this;
}

UtTracer& UtTracer::operator<<(std::chrono::nanoseconds duration) {
  stream() << static_cast<float>(duration.count()) / 1e9;
  return *this;
}

UtTracer& UtTracer::operator<<(std::ostream& (*manipulator)(std::ostream&)) {
  manipulator(stream());
  return *this;
}

UtTracer& UtTracer::operator<<(std::ios_base& (*manipulator)(std::ios_base&)) {
  manipulator(stream());
  return *this;
}

UtTracer& UtTracer::operator<<(const ut::IReporterMessage& message) {
  *this << "Message type " << message.id() << std::endl;
  *this << "Message " << message.message() << std::endl;
  return *this;
}

void UtTracer::traceCallStack() {
  static const bool s_developer = ut::platform::environmentVariable("TDM_DEV").has_value();
  if (s_developer)
    stream() << ut::getCallStack();
  else
    stream() << "Call stack trace is available if TDM_DEV is set" << std::endl;
}

namespace ut {

// --- SafeTracerAccessor, TraceIndenter, ApiScopeLogger -------------------------------

SafeTracerAccessorLock::~SafeTracerAccessorLock() = default;

void SafeTracerAccessor::setLocker(SafeTracerAccessorLock* lock) { m_pLock.store(lock, std::memory_order_release); }

TraceIndenter::TraceIndenter(int level, const char* name, int area) : m_level(level) {
  UtTracer& tracer = UtTracer::safeTracer();
  if (tracer.traceLevel() < level) return;
  if (!tracer.checkArea(area)) return;
  if (name) m_name = name;
  const SafeTracerAccessor access;
  if (!m_name.empty()) tracer.str(level) << "Call " << m_name << "()" << std::endl;
  tracer.incIndent();
}

TraceIndenter::~TraceIndenter() {
  // The level only: an indenter filtered out by its area still unindents.
  UtTracer& tracer = UtTracer::safeTracer();
  if (tracer.traceLevel() < m_level) return;
  const SafeTracerAccessor access;
  tracer.decIndent();
  if (!m_name.empty()) tracer.str(m_level) << "Done " << m_name << "()" << std::endl;
}

ApiScopeLogger::ApiScopeLogger(int value, const char* const name) : m_name(name), m_value(value), m_succeeded(true) {}

ApiScopeLogger::~ApiScopeLogger() = default;

void ApiScopeLogger::succeeded() { m_succeeded = true; }

}  // namespace ut
