#include <ut/ut_reporter.h>

#include "ut_reporter_format.h"

#include <utility>

namespace ut {

namespace {

std::wstring wide(const OdString& text) { return std::wstring(text.c_str()); }

std::shared_ptr<IReporterMessage> callbackMessage(const char* id, const OdString& callbackName,
                                                  const OdString& additionalInfo, ReporterCallback callback) {
  auto message = std::make_shared<ReporterMessageCustomCallback>(id);
  message->setCallbackName(callbackName);
  message->setCallbackFunction(callback);
  message->setAdditionalInfo(wide(additionalInfo));
  return message;
}

std::shared_ptr<ReporterMessageObjectId> objectIdMessage(const char* id, const OdArray<OdDbObjectId>& objectIds) {
  auto message = std::make_shared<ReporterMessageObjectId>(id);
  message->setObjectIdArray(objectIds);
  return message;
}

std::shared_ptr<ReporterMessageFSP> subentMessage(const char* id, const OdArray<OdDbFullSubentPath>& paths) {
  auto message = std::make_shared<ReporterMessageFSP>(id);
  message->setFullSubentPathArray(paths);
  return message;
}

// A caller's own text replaces the registered one only when it says something.
void setTextUnlessEmpty(IReporterMessage& message, const OdString& text) {
  if (!text.isEmpty()) message.setMessage(wide(text));
}

}  // namespace

IReporterTarget::~IReporterTarget() = default;
IReporterProgressor::~IReporterProgressor() = default;
IReporterBase::~IReporterBase() = default;

IReporter::IReporter() = default;
IReporter::~IReporter() = default;

// --- adding messages -------------------------------------------------------------

void IReporter::addMessage(const char* id, const std::wstring& additionalInfo) {
  auto message = std::make_shared<ReporterMessage>(id);
  message->setAdditionalInfo(additionalInfo);
  const std::lock_guard lock(m_mutex);
  addMessageImpl(std::move(message));
}

void IReporter::addMessage(const char* id, const OdString& callbackName, const OdString& additionalInfo,
                           ReporterCallback callback) {
  auto message = callbackMessage(id, callbackName, additionalInfo, callback);
  const std::lock_guard lock(m_mutex);
  addMessageImpl(std::move(message));
}

void IReporter::addMessage(const char* id, const OdArray<OdDbFullSubentPath>& paths, const OdString& additionalInfo,
                           const OdString& text, const OdString& fileName, const OdString& blockName,
                           const OdDbHandle& entityHandle) {
  auto message = subentMessage(id, paths);
  message->setAdditionalInfo(wide(additionalInfo));
  setTextUnlessEmpty(*message, text);
  message->setFileName(fileName);
  message->setBlockName(blockName);
  message->setEntityHandle(entityHandle);
  const std::lock_guard lock(m_mutex);
  addMessageImpl(std::move(message));
}

void IReporter::addMessage(const char* id, const OdArray<OdDbObjectId>& objectIds, const OdString& additionalInfo,
                           const OdString& text) {
  auto message = objectIdMessage(id, objectIds);
  message->setAdditionalInfo(wide(additionalInfo));
  setTextUnlessEmpty(*message, text);
  const std::lock_guard lock(m_mutex);
  addMessageImpl(std::move(message));
}

void IReporter::addFormattedMessage(const char* id, ...) {
  va_list args;
  va_start(args, id);
  addFormattedMessageImpl(std::make_shared<ReporterMessage>(id), args);
  va_end(args);
}

void IReporter::addFormattedMessage(const OdString& callbackName, ReporterCallback callback, const char* id, ...) {
  va_list args;
  va_start(args, id);
  addFormattedMessageImpl(callbackMessage(id, callbackName, OdString(), callback), args);
  va_end(args);
}

void IReporter::addFormattedMessage(const OdArray<OdDbObjectId>& objectIds, const char* id, ...) {
  va_list args;
  va_start(args, id);
  addFormattedMessageImpl(objectIdMessage(id, objectIds), args);
  va_end(args);
}

void IReporter::addFormattedMessage(const OdArray<OdDbFullSubentPath>& paths, const char* id, ...) {
  va_list args;
  va_start(args, id);
  addFormattedMessageImpl(subentMessage(id, paths), args);
  va_end(args);
}

void IReporter::addFormattedMessageImpl(std::shared_ptr<IReporterMessage> message, va_list args) {
  if (!message) return;
  std::wstring text;
  // Formatting runs outside the lock: it touches only the new message.
  if (formatBounded(message->message(), args, text)) message->setMessage(text);
  const std::lock_guard lock(m_mutex);
  addMessageImpl(std::move(message));
}

void IReporter::addMessageImpl(std::shared_ptr<IReporterMessage> message) {
  if (!message) return;
  // A linear scan: the list keeps arrival order, and equivalence is the
  // messages' own ordering, which has no hash.
  for (const auto& held : m_messages) {
    if (held && !(*held < *message) && !(*message < *held)) return;
  }
  const IReporterMessage::ESeverity severity = message->severity();
  m_hasWarnings = m_hasWarnings || severity == IReporterMessage::eSeverityWarning;
  m_hasErrors = m_hasErrors || severity == IReporterMessage::eSeverityError;
  m_messages.push_back(std::move(message));
}

// --- the list ------------------------------------------------------------------

const ReporterMessageList& IReporter::messages() const { return m_messages; }

void IReporter::clearMessages() {
  const std::lock_guard lock(m_mutex);
  clearMessagesImpl();
}

void IReporter::clearMessagesImpl() { m_messages.clear(); }

void IReporter::setMessages(const ReporterMessageList& messages) {
  const std::lock_guard lock(m_mutex);
  m_messages = messages;
}

void IReporter::copyMessagesFromImpl(const ReporterMessageList& messages) {
  for (const auto& message : messages) {
    if (message) addMessageImpl(message->clone());
  }
}

void IReporter::copyMessagesFrom(const IReporterBase& other) {
  if (&other == static_cast<const IReporterBase*>(this)) return;
  if (const auto* reporter = dynamic_cast<const IReporter*>(&other)) {
    // Both locks, taken together so that two reporters copying from each
    // other cannot deadlock, and so the other's list cannot change under us.
    const std::scoped_lock lock(m_mutex, reporter->m_mutex);
    copyMessagesFromImpl(reporter->m_messages);
    return;
  }
  const std::lock_guard lock(m_mutex);
  copyMessagesFromImpl(other.messages());
}

void IReporter::moveMessagesFrom(IReporterBase& other) {
  if (&other == static_cast<IReporterBase*>(this)) return;
  if (auto* reporter = dynamic_cast<IReporter*>(&other)) {
    // Copy and clear under both locks: a message the other receives
    // meanwhile is either moved or stays, never cleared uncopied.
    const std::scoped_lock lock(m_mutex, reporter->m_mutex);
    copyMessagesFromImpl(reporter->m_messages);
    reporter->clearMessagesImpl();
    return;
  }
  {
    const std::lock_guard lock(m_mutex);
    copyMessagesFromImpl(other.messages());
  }
  other.clearMessages();
}

// --- title, flags, targets, progressor ---------------------------------------------

const std::wstring& IReporter::reportTitle() const { return m_reportTitle; }

void IReporter::setReportTitle(const std::wstring& title) {
  const std::lock_guard lock(m_mutex);
  m_reportTitle = title;
}

bool IReporter::hasWarnings() const {
  const std::lock_guard lock(m_mutex);
  return m_hasWarnings;
}

bool IReporter::hasErrors() const {
  const std::lock_guard lock(m_mutex);
  return m_hasErrors;
}

void IReporter::clearTargets() {
  const std::lock_guard lock(m_mutex);
  m_targets.clear();
}

void IReporter::addTarget(std::shared_ptr<IReporterTarget> target) {
  if (!target) return;
  const std::lock_guard lock(m_mutex);
  m_targets.push_back(std::move(target));
}

std::vector<std::shared_ptr<IReporterTarget>> IReporter::targets() const {
  const std::lock_guard lock(m_mutex);
  return m_targets;
}

IReporterProgressor& IReporter::progressor() const {
  // Created once, thread-safely, on first use; lives until unload.
  static NullReporter::NullProgressor nullProgressor;
  return nullProgressor;
}

IReporter& IReporter::nullReporter() {
  static NullReporter reporter;
  return reporter;
}

}  // namespace ut
