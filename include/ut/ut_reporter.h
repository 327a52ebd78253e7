#pragma once

// Reporters: collectors of the messages (ut_reporter_message.h) that a long
// operation produces for its user.
//
// A reporter keeps its messages free of duplicates (a message equivalent to
// one already held under IReporterMessage::operator< is dropped), in order of
// first arrival, and remembers whether any warning or error ever arrived: the
// flags stay set even after the messages are cleared. It also carries a report
// title, the targets (display or log sinks) a host reporter delivers to, and
// the progressor through which the operation reports progress.
//
// IReporterBase is the interface; IReporter is the working implementation
// host reporters derive from (they supply showReport() and
// deliverToTargets()); NullReporter accepts every call and keeps nothing, for
// code that must report but was given no reporter (IReporter::nullReporter()).
//
// Formatted messages use the kind's registered text as a wide printf format
// of the C library: "%ls" takes a `const wchar_t*`, "%s" a `const char*`,
// "%d" an int. Never pass an OdString or std::wstring object itself through
// the variable arguments; pass its c_str().

#include <ut/ut_export.h>
#include <ut/ut_reporter_message.h>

#include "DbFullSubentPath.h"
#include "DbHandle.h"
#include "DbObjectId.h"
#include "OdArray.h"
#include "OdString.h"

#include <cstdarg>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ut {

using ReporterMessageList = std::vector<std::shared_ptr<IReporterMessage>>;

// A sink a host reporter delivers its report to (a message pane, a log file).
// The library stores targets and never calls them.
class UT_EXPORT IReporterTarget {
 public:
  virtual ~IReporterTarget();

  // Receives a report: its title and its messages in order.
  virtual void deliver(const std::wstring& title, const ReporterMessageList& messages) = 0;

 protected:
  IReporterTarget() = default;
  IReporterTarget(const IReporterTarget&) = default;
  IReporterTarget& operator=(const IReporterTarget&) = default;
};

// A step-based progress sink of a reporter, implemented by the host's user
// interface. The library only provides the no-op NullReporter::NullProgressor.
class UT_EXPORT IReporterProgressor {
 public:
  virtual ~IReporterProgressor();

  virtual void start(const std::wstring& title) = 0;
  virtual void stop() = 0;
  virtual void setMessage(const std::wstring& message) = 0;
  // The number of steps the operation takes; 0 or less: unknown.
  virtual void setRange(int steps) = 0;
  virtual void setPosition(int step) = 0;
  // Advances the position by one step.
  virtual void step() = 0;
  // Lets the user interface repaint during a long step.
  virtual void updateUI() = 0;
  virtual bool isCanceled() const = 0;

 protected:
  IReporterProgressor() = default;
  IReporterProgressor(const IReporterProgressor&) = default;
  IReporterProgressor& operator=(const IReporterProgressor&) = default;
};

class UT_EXPORT IReporterBase {
 public:
  virtual ~IReporterBase();

  // A ReporterMessage of kind `id` with `additionalInfo`. `id` must not be
  // null.
  virtual void addMessage(const char* id, const std::wstring& additionalInfo) = 0;
  // A ReporterMessage of kind `id` whose text is the kind's registered text
  // used as a wide printf format filled from the arguments (see the file
  // comment). The result is cut to 1,023 characters; a format that fails
  // leaves the registered text unformatted.
  virtual void addFormattedMessage(const char* id, ...) = 0;
  // The messages in order of first arrival. The reference is read without
  // the reporter's lock: do not hold it while other threads add messages.
  virtual const ReporterMessageList& messages() const = 0;
  // Presents the collected report to the user (a host reporter's dialog or
  // listing).
  virtual void showReport() = 0;
  // Empties the list; the warning and error flags stay as they are.
  virtual void clearMessages() = 0;
  // Hands the collected report to every target.
  virtual void deliverToTargets() = 0;
  virtual const std::wstring& reportTitle() const = 0;
  virtual void setReportTitle(const std::wstring& title) = 0;
  // Whether a warning (severity 1), respectively an error (severity 0), was
  // ever added, even if the messages were cleared since.
  virtual bool hasWarnings() const = 0;
  virtual bool hasErrors() const = 0;
  virtual IReporterProgressor& progressor() const = 0;
  virtual void clearTargets() = 0;
  // A null target is ignored.
  virtual void addTarget(std::shared_ptr<IReporterTarget> target) = 0;

 protected:
  IReporterBase() = default;
  IReporterBase(const IReporterBase&) = default;
  IReporterBase& operator=(const IReporterBase&) = default;

  // Appends `message` unless it is null or a duplicate of one already held;
  // called with the reporter's lock held.
  virtual void addMessageImpl(std::shared_ptr<IReporterMessage> message) = 0;
};

// The working reporter. Every operation takes the reporter's own mutex, so
// several threads may add messages to one reporter at once.
class UT_EXPORT IReporter : public virtual IReporterBase {
 public:
  IReporter();
  ~IReporter() override;
  IReporter(const IReporter&) = delete;
  IReporter& operator=(const IReporter&) = delete;

  void addMessage(const char* id, const std::wstring& additionalInfo) override;
  void addFormattedMessage(const char* id, ...) override;

  // A ReporterMessageCustomCallback with its callback's name and function.
  virtual void addMessage(const char* id, const OdString& callbackName, const OdString& additionalInfo,
                          ReporterCallback callback);
  // A ReporterMessageFSP. A non-empty `text` replaces the kind's registered
  // text for this message.
  virtual void addMessage(const char* id, const OdArray<OdDbFullSubentPath>& paths, const OdString& additionalInfo,
                          const OdString& text, const OdString& fileName, const OdString& blockName,
                          const OdDbHandle& entityHandle);
  // A ReporterMessageObjectId. A non-empty `text` replaces the kind's
  // registered text for this message.
  virtual void addMessage(const char* id, const OdArray<OdDbObjectId>& objectIds, const OdString& additionalInfo,
                          const OdString& text);
  // The formatted counterparts of the three drawing-aware kinds.
  virtual void addFormattedMessage(const OdString& callbackName, ReporterCallback callback, const char* id, ...);
  virtual void addFormattedMessage(const OdArray<OdDbObjectId>& objectIds, const char* id, ...);
  virtual void addFormattedMessage(const OdArray<OdDbFullSubentPath>& paths, const char* id, ...);

  const ReporterMessageList& messages() const override;
  void clearMessages() override;
  const std::wstring& reportTitle() const override;
  void setReportTitle(const std::wstring& title) override;
  bool hasWarnings() const override;
  bool hasErrors() const override;
  // The process-wide null progressor; reporters that report progress
  // override this.
  IReporterProgressor& progressor() const override;
  void clearTargets() override;
  void addTarget(std::shared_ptr<IReporterTarget> target) override;

  // Adds a clone of every message of `other`, in order, dropping duplicates.
  // Copying from this reporter itself changes nothing.
  void copyMessagesFrom(const IReporterBase& other);
  // Copies as above, then clears `other`'s messages (its flags stay). Moving
  // from this reporter itself changes nothing.
  void moveMessagesFrom(IReporterBase& other);

  // The process-wide NullReporter, created on first use (thread-safe).
  static IReporter& nullReporter();

 protected:
  void addMessageImpl(std::shared_ptr<IReporterMessage> message) override;

  // Replaces the list by a copy of `messages` (the same shared messages, not
  // clones, duplicates and null entries kept as given); the flags are not
  // touched.
  void setMessages(const ReporterMessageList& messages);
  // Formats `message`'s text with `args` (see addFormattedMessage), then adds
  // it under the lock.
  void addFormattedMessageImpl(std::shared_ptr<IReporterMessage> message, va_list args);
  // The lock-free parts of copyMessagesFrom and clearMessages, for callers
  // that hold the lock.
  void copyMessagesFromImpl(const ReporterMessageList& messages);
  void clearMessagesImpl();
  // A snapshot of the targets, for a host's deliverToTargets().
  std::vector<std::shared_ptr<IReporterTarget>> targets() const;

 private:
  ReporterMessageList m_messages;
  bool m_hasWarnings = false;
  bool m_hasErrors = false;
  std::wstring m_reportTitle;
  std::vector<std::shared_ptr<IReporterTarget>> m_targets;
  mutable std::mutex m_mutex;
};

// A reporter that accepts every call and keeps nothing: its list stays
// empty, its flags false, its title empty and it holds no target.
class UT_EXPORT NullReporter : public IReporter {
 public:
  // The progressor that ignores everything and is never cancelled.
  class UT_EXPORT NullProgressor : public IReporterProgressor {
   public:
    void start(const std::wstring& title) override;
    void stop() override;
    void setMessage(const std::wstring& message) override;
    void setRange(int steps) override;
    void setPosition(int step) override;
    void step() override;
    void updateUI() override;
    bool isCanceled() const override;
  };

  NullReporter();
  ~NullReporter() override;

  // Still builds its message, which addMessageImpl then drops.
  using IReporter::addFormattedMessage;

  void addMessage(const char* id, const std::wstring& additionalInfo) override;
  void addMessage(const char* id, const OdString& callbackName, const OdString& additionalInfo,
                  ReporterCallback callback) override;
  void addMessage(const char* id, const OdArray<OdDbFullSubentPath>& paths, const OdString& additionalInfo,
                  const OdString& text, const OdString& fileName, const OdString& blockName,
                  const OdDbHandle& entityHandle) override;
  void addMessage(const char* id, const OdArray<OdDbObjectId>& objectIds, const OdString& additionalInfo,
                  const OdString& text) override;
  void addFormattedMessage(const char* id, ...) override;
  void addFormattedMessage(const OdArray<OdDbObjectId>& objectIds, const char* id, ...) override;
  void addFormattedMessage(const OdArray<OdDbFullSubentPath>& paths, const char* id, ...) override;

  void showReport() override;
  void deliverToTargets() override;
  void setReportTitle(const std::wstring& title) override;
  void addTarget(std::shared_ptr<IReporterTarget> target) override;

 protected:
  // Releases the message without keeping it.
  void addMessageImpl(std::shared_ptr<IReporterMessage> message) override;
};

}  // namespace ut
