#include <ut/ut_reporter_message.h>

#include <wx/string.h>
#include <wx/translation.h>

#include <algorithm>
#include <functional>

namespace ut {

namespace {

// The registered text in the application's language. An empty text is never
// looked up: in a message catalogue the empty identifier names the header.
std::wstring translated(const std::wstring& text) {
  if (text.empty()) return text;
  const wxTranslations* translations = wxTranslations::Get();
  if (!translations) return text;
  const wxString* translation = translations->GetTranslatedString(wxString(text));
  return translation ? translation->ToStdWstring() : text;
}

// Pointer order through std::less: a total order even for unrelated objects.
bool idLess(const char* a, const char* b) { return std::less<const char*>()(a, b); }

}  // namespace

// --- IReporterMessage ------------------------------------------------------------

IReporterMessage::~IReporterMessage() = default;

// --- ReporterMessage -------------------------------------------------------------

ReporterMessage::ReporterMessage(const char* id)
    : m_id(id), m_severity(eSeverityMessage), m_highlightDuration(eHighlightShort) {
  const ReporterMessageRegistry& registry = ReporterMessageRegistry::instance();
  m_severity = registry.severity(id);
  m_highlightDuration = registry.highlightDuration(id);
  m_message = translated(registry.message(id));
}

ReporterMessage::ReporterMessage(const ReporterMessage& other) = default;
ReporterMessage& ReporterMessage::operator=(const ReporterMessage& other) = default;
ReporterMessage::~ReporterMessage() = default;

std::shared_ptr<IReporterMessage> ReporterMessage::clone() const { return std::make_shared<ReporterMessage>(*this); }

const char* ReporterMessage::id() const { return m_id; }
void ReporterMessage::setId(const char* id) { m_id = id; }
const std::wstring& ReporterMessage::message() const { return m_message; }
void ReporterMessage::setMessage(const std::wstring& message) { m_message = message; }
const std::wstring& ReporterMessage::additionalInfo() const { return m_additionalInfo; }
void ReporterMessage::setAdditionalInfo(const std::wstring& info) { m_additionalInfo = info; }
IReporterMessage::ESeverity ReporterMessage::severity() const { return m_severity; }
void ReporterMessage::setSeverity(ESeverity severity) { m_severity = severity; }
IReporterMessage::EHighlightDuration ReporterMessage::highlightDuration() const { return m_highlightDuration; }
void ReporterMessage::setHighlightDuration(EHighlightDuration duration) { m_highlightDuration = duration; }

bool ReporterMessage::operator<(const IReporterMessage& other) const { return isLess(other); }

bool ReporterMessage::isLess(const IReporterMessage& other) const {
  if (id() != other.id()) return idLess(id(), other.id());
  if (const int c = message().compare(other.message()); c != 0) return c < 0;
  if (const int c = additionalInfo().compare(other.additionalInfo()); c != 0) return c < 0;
  if (severity() != other.severity()) return severity() < other.severity();
  return highlightDuration() < other.highlightDuration();
}

bool ReporterMessage::isGreater(const IReporterMessage& other) const {
  if (id() != other.id()) return idLess(other.id(), id());
  if (const int c = message().compare(other.message()); c != 0) return c > 0;
  if (const int c = additionalInfo().compare(other.additionalInfo()); c != 0) return c > 0;
  if (severity() != other.severity()) return severity() > other.severity();
  return highlightDuration() > other.highlightDuration();
}

// --- ReporterMessageFSP ----------------------------------------------------------

ReporterMessageFSP::ReporterMessageFSP(const char* id) : ReporterMessage(id) {}
ReporterMessageFSP::ReporterMessageFSP(const ReporterMessageFSP& other) = default;
ReporterMessageFSP& ReporterMessageFSP::operator=(const ReporterMessageFSP& other) = default;
ReporterMessageFSP::~ReporterMessageFSP() = default;

std::shared_ptr<IReporterMessage> ReporterMessageFSP::clone() const {
  return std::make_shared<ReporterMessageFSP>(*this);
}

bool ReporterMessageFSP::operator<(const IReporterMessage& other) const {
  if (isLess(other)) return true;
  if (isGreater(other)) return false;
  return isLessFSP(other);
}

bool ReporterMessageFSP::isLessFSP(const IReporterMessage& other) const {
  const auto* that = dynamic_cast<const ReporterMessageFSP*>(&other);
  if (!that) return false;
  if (const int c = m_fileName.compare(that->m_fileName); c != 0) return c < 0;
  if (const int c = m_blockName.compare(that->m_blockName); c != 0) return c < 0;
  return std::lexicographical_compare(m_paths.begin(), m_paths.end(), that->m_paths.begin(), that->m_paths.end());
}

const OdString& ReporterMessageFSP::fileName() const { return m_fileName; }
void ReporterMessageFSP::setFileName(const OdString& fileName) { m_fileName = fileName; }
const OdString& ReporterMessageFSP::blockName() const { return m_blockName; }
void ReporterMessageFSP::setBlockName(const OdString& blockName) { m_blockName = blockName; }
OdArray<OdDbFullSubentPath> ReporterMessageFSP::fullSubentPathArray() const { return m_paths; }
void ReporterMessageFSP::setFullSubentPathArray(const OdArray<OdDbFullSubentPath>& paths) { m_paths = paths; }
void ReporterMessageFSP::addFullSubentPath(const OdDbFullSubentPath& path) { m_paths.append(path); }
const OdDbHandle& ReporterMessageFSP::entityHandle() const { return m_entityHandle; }
void ReporterMessageFSP::setEntityHandle(const OdDbHandle& handle) { m_entityHandle = handle; }

// --- ReporterMessageObjectId -----------------------------------------------------

ReporterMessageObjectId::ReporterMessageObjectId(const char* id) : ReporterMessage(id) {}
ReporterMessageObjectId::ReporterMessageObjectId(const ReporterMessageObjectId& other) = default;
ReporterMessageObjectId& ReporterMessageObjectId::operator=(const ReporterMessageObjectId& other) = default;
ReporterMessageObjectId::~ReporterMessageObjectId() = default;

std::shared_ptr<IReporterMessage> ReporterMessageObjectId::clone() const {
  return std::make_shared<ReporterMessageObjectId>(*this);
}

bool ReporterMessageObjectId::operator<(const IReporterMessage& other) const {
  if (isLess(other)) return true;
  if (isGreater(other)) return false;
  return isLessObjectId(other);
}

bool ReporterMessageObjectId::isLessObjectId(const IReporterMessage& other) const {
  const auto* that = dynamic_cast<const ReporterMessageObjectId*>(&other);
  if (!that) return false;
  if (m_objectIds.size() != that->m_objectIds.size()) return m_objectIds.size() < that->m_objectIds.size();
  for (OdArray<OdDbObjectId>::size_type i = 0; i < m_objectIds.size(); ++i) {
    if (!(m_objectIds[i] == that->m_objectIds[i])) return m_objectIds[i] < that->m_objectIds[i];
  }
  return false;
}

OdArray<OdDbObjectId> ReporterMessageObjectId::objectIdArray() const { return m_objectIds; }
void ReporterMessageObjectId::setObjectIdArray(const OdArray<OdDbObjectId>& ids) { m_objectIds = ids; }
void ReporterMessageObjectId::addObjectId(const OdDbObjectId& id) { m_objectIds.append(id); }

// --- ReporterMessageCustomCallback -----------------------------------------------

ReporterMessageCustomCallback::ReporterMessageCustomCallback(const char* id) : ReporterMessage(id) {}
ReporterMessageCustomCallback::ReporterMessageCustomCallback(const ReporterMessageCustomCallback& other) = default;
ReporterMessageCustomCallback& ReporterMessageCustomCallback::operator=(const ReporterMessageCustomCallback& other) =
    default;
ReporterMessageCustomCallback::~ReporterMessageCustomCallback() = default;

std::shared_ptr<IReporterMessage> ReporterMessageCustomCallback::clone() const {
  return std::make_shared<ReporterMessageCustomCallback>(*this);
}

bool ReporterMessageCustomCallback::operator<(const IReporterMessage& other) const {
  if (isLess(other)) return true;
  if (isGreater(other)) return false;
  return isLessCustomCallback(other);
}

bool ReporterMessageCustomCallback::isLessCustomCallback(const IReporterMessage& other) const {
  const auto* that = dynamic_cast<const ReporterMessageCustomCallback*>(&other);
  if (!that) return false;
  return m_callbackName.compare(that->m_callbackName) < 0;
}

const OdString& ReporterMessageCustomCallback::callbackName() const { return m_callbackName; }
void ReporterMessageCustomCallback::setCallbackName(const OdString& name) { m_callbackName = name; }
ReporterCallback ReporterMessageCustomCallback::callbackFunction() const { return m_callbackFunction; }
void ReporterMessageCustomCallback::setCallbackFunction(ReporterCallback function) { m_callbackFunction = function; }

// --- ReporterMessageRegistry -----------------------------------------------------

ReporterMessageRegistry::ReporterMessageRegistry() = default;
ReporterMessageRegistry::~ReporterMessageRegistry() = default;

ReporterMessageRegistry& ReporterMessageRegistry::instance() {
  static ReporterMessageRegistry registry;
  return registry;
}

void ReporterMessageRegistry::registerMessage(const char* id, IReporterMessage::ESeverity severity,
                                              IReporterMessage::EHighlightDuration duration, const std::wstring& text) {
  m_records.insert_or_assign(id, Record{severity, duration, text});
}

void ReporterMessageRegistry::registerMessage(const char* id, IReporterMessage::ESeverity severity,
                                              IReporterMessage::EHighlightDuration duration, const std::string& text) {
  std::wstring wide;
  wide.reserve(text.size());
  for (const char byte : text) wide += static_cast<wchar_t>(static_cast<unsigned char>(byte));
  registerMessage(id, severity, duration, wide);
}

void ReporterMessageRegistry::unregisterMessage(const char* id) { m_records.erase(id); }

IReporterMessage::ESeverity ReporterMessageRegistry::severity(const char* id) const {
  const auto found = m_records.find(id);
  return found != m_records.end() ? found->second.severity : IReporterMessage::eSeverityMessage;
}

IReporterMessage::EHighlightDuration ReporterMessageRegistry::highlightDuration(const char* id) const {
  const auto found = m_records.find(id);
  return found != m_records.end() ? found->second.duration : IReporterMessage::eHighlightNone;
}

const std::wstring& ReporterMessageRegistry::message(const char* id) const {
  static const std::wstring empty;
  const auto found = m_records.find(id);
  return found != m_records.end() ? found->second.text : empty;
}

}  // namespace ut
