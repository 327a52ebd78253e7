#pragma once

// Reporter messages: the entries of a report that a command hands to its user.
//
// A message has a kind identifier, a translated text, an optional additional
// text, a severity and a highlight duration. The richer kinds add the drawing
// objects or sub-entities the message concerns, or a callback the user can
// trigger. Kinds are registered once in ReporterMessageRegistry, which gives
// every new message of that kind its default severity, highlight duration and
// text.
//
// Identity of a kind is the ADDRESS of its identifier, never its text: two
// equal strings at different addresses are two different kinds. Declare each
// identifier once as a constant with static lifetime and use that constant
// both to register and to create messages. Identifiers must not be null.
//
// Messages are shared objects (std::shared_ptr) and are totally ordered so
// that a reporter can drop duplicates: see IReporterMessage::operator<.

#include <ut/ut_export.h>

#include "DbFullSubentPath.h"
#include "DbHandle.h"
#include "DbObjectId.h"
#include "OdArray.h"
#include "OdString.h"

#include <memory>
#include <string>
#include <unordered_map>

namespace ut {

// What a message callback reports back. The library stores callbacks and never
// calls them; the values are for the host's own use.
enum EReporterCallbackResult {
  eReporterCallbackDone = 0,       // the callback did its work
  eReporterCallbackCancelled = 1,  // the user backed out
  eReporterCallbackFailed = 2,     // the callback could not do its work
};

// A callback a user can trigger from a message.
using ReporterCallback = EReporterCallbackResult (*)();

class UT_EXPORT IReporterMessage {
 public:
  enum ESeverity : int {
    eSeverityError = 0,
    eSeverityWarning = 1,
    eSeverityMessage = 2,  // a plain message; the default
  };

  // How long a user interface highlights what the message concerns. The
  // library stores and compares the value but never interprets it.
  enum EHighlightDuration : int {
    eHighlightNone = 0,  // what an unregistered kind gets
    eHighlightShort = 1,
    eHighlightLong = 2,
  };

  virtual ~IReporterMessage();

  // A deep copy of the same concrete kind.
  virtual std::shared_ptr<IReporterMessage> clone() const = 0;

  virtual const char* id() const = 0;
  virtual void setId(const char* id) = 0;
  virtual const std::wstring& message() const = 0;
  virtual void setMessage(const std::wstring& message) = 0;
  virtual const std::wstring& additionalInfo() const = 0;
  virtual void setAdditionalInfo(const std::wstring& info) = 0;
  virtual ESeverity severity() const = 0;
  virtual void setSeverity(ESeverity severity) = 0;
  virtual EHighlightDuration highlightDuration() const = 0;
  virtual void setHighlightDuration(EHighlightDuration duration) = 0;

  // A strict weak ordering over messages of every kind: identifier address,
  // then text, additional info, severity and highlight duration; a richer
  // kind then orders by its own data against a message of the same kind.
  // Messages of different kinds that agree on the common fields are
  // equivalent (neither is less).
  virtual bool operator<(const IReporterMessage& other) const = 0;

  // Equivalence under operator<: neither message is less than the other.
  bool operator==(const IReporterMessage& other) const { return !(*this < other) && !(other < *this); }
  bool operator!=(const IReporterMessage& other) const { return !(*this == other); }
  bool operator>(const IReporterMessage& other) const { return other < *this; }

 protected:
  IReporterMessage() = default;
  IReporterMessage(const IReporterMessage&) = default;
  IReporterMessage& operator=(const IReporterMessage&) = default;
};

// A plain message. Construction fills severity, highlight duration and text
// from the registry: an unregistered identifier gives severity eSeverityMessage,
// duration eHighlightNone and an empty text. The registered text is passed
// through the application's translation catalogue (wxTranslations::Get())
// when one is installed and knows it.
class UT_EXPORT ReporterMessage : public virtual IReporterMessage {
 public:
  explicit ReporterMessage(const char* id);
  ReporterMessage(const ReporterMessage& other);
  ReporterMessage& operator=(const ReporterMessage& other);
  ~ReporterMessage() override;

  std::shared_ptr<IReporterMessage> clone() const override;

  const char* id() const override;
  void setId(const char* id) override;
  const std::wstring& message() const override;
  void setMessage(const std::wstring& message) override;
  const std::wstring& additionalInfo() const override;
  void setAdditionalInfo(const std::wstring& info) override;
  ESeverity severity() const override;
  void setSeverity(ESeverity severity) override;
  EHighlightDuration highlightDuration() const override;
  void setHighlightDuration(EHighlightDuration duration) override;

  bool operator<(const IReporterMessage& other) const override;

 protected:
  // The common-field ordering: this < other, respectively this > other, on
  // identifier address, text, additional info, severity, highlight duration.
  bool isLess(const IReporterMessage& other) const;
  bool isGreater(const IReporterMessage& other) const;

 private:
  const char* m_id;
  std::wstring m_message;
  std::wstring m_additionalInfo;
  ESeverity m_severity;
  EHighlightDuration m_highlightDuration;
};

// A message about sub-entities of drawing objects, with the drawing's file
// name, the block they lie in and the entity's handle. Among messages of this
// kind that agree on the common fields, the order is file name, block name,
// then the sub-entity paths element by element (a prefix first). The handle
// does not take part in the order.
class UT_EXPORT ReporterMessageFSP : public ReporterMessage {
 public:
  explicit ReporterMessageFSP(const char* id);
  ReporterMessageFSP(const ReporterMessageFSP& other);
  ReporterMessageFSP& operator=(const ReporterMessageFSP& other);
  ~ReporterMessageFSP() override;

  std::shared_ptr<IReporterMessage> clone() const override;
  bool operator<(const IReporterMessage& other) const override;

  const OdString& fileName() const;
  void setFileName(const OdString& fileName);
  const OdString& blockName() const;
  void setBlockName(const OdString& blockName);
  OdArray<OdDbFullSubentPath> fullSubentPathArray() const;
  void setFullSubentPathArray(const OdArray<OdDbFullSubentPath>& paths);
  void addFullSubentPath(const OdDbFullSubentPath& path);
  const OdDbHandle& entityHandle() const;
  void setEntityHandle(const OdDbHandle& handle);

 protected:
  // This message's own data before other's; false when other is another kind.
  bool isLessFSP(const IReporterMessage& other) const;

 private:
  OdString m_fileName;
  OdString m_blockName;
  OdArray<OdDbFullSubentPath> m_paths;
  OdDbHandle m_entityHandle;
};

// A message about drawing objects. Among messages of this kind that agree on
// the common fields, fewer objects come first; equal counts compare the
// identifiers element by element.
class UT_EXPORT ReporterMessageObjectId : public ReporterMessage {
 public:
  explicit ReporterMessageObjectId(const char* id);
  ReporterMessageObjectId(const ReporterMessageObjectId& other);
  ReporterMessageObjectId& operator=(const ReporterMessageObjectId& other);
  ~ReporterMessageObjectId() override;

  std::shared_ptr<IReporterMessage> clone() const override;
  bool operator<(const IReporterMessage& other) const override;

  OdArray<OdDbObjectId> objectIdArray() const;
  void setObjectIdArray(const OdArray<OdDbObjectId>& ids);
  void addObjectId(const OdDbObjectId& id);

 protected:
  bool isLessObjectId(const IReporterMessage& other) const;

 private:
  OdArray<OdDbObjectId> m_objectIds;
};

// A message carrying a named callback. Among messages of this kind that agree
// on the common fields, the callback name decides; the function is not
// compared.
class UT_EXPORT ReporterMessageCustomCallback : public ReporterMessage {
 public:
  explicit ReporterMessageCustomCallback(const char* id);
  ReporterMessageCustomCallback(const ReporterMessageCustomCallback& other);
  ReporterMessageCustomCallback& operator=(const ReporterMessageCustomCallback& other);
  ~ReporterMessageCustomCallback() override;

  std::shared_ptr<IReporterMessage> clone() const override;
  bool operator<(const IReporterMessage& other) const override;

  const OdString& callbackName() const;
  void setCallbackName(const OdString& name);
  ReporterCallback callbackFunction() const;
  void setCallbackFunction(ReporterCallback function);

 protected:
  bool isLessCustomCallback(const IReporterMessage& other) const;

 private:
  OdString m_callbackName;
  ReporterCallback m_callbackFunction = nullptr;
};

// The process-wide table of message kinds, keyed by identifier address.
// Created on first use (thread-safe); registration, removal and lookup are
// not locked: register kinds during start-up, before reporters run on other
// threads.
class UT_EXPORT ReporterMessageRegistry {
 public:
  static ReporterMessageRegistry& instance();

  ReporterMessageRegistry(const ReporterMessageRegistry&) = delete;
  ReporterMessageRegistry& operator=(const ReporterMessageRegistry&) = delete;

  // Registers the kind `id`; registering an identifier again replaces its
  // record. The narrow form widens the text byte by byte (each byte becomes
  // one wide character, so Latin-1 text is kept).
  void registerMessage(const char* id, IReporterMessage::ESeverity severity,
                       IReporterMessage::EHighlightDuration duration, const std::wstring& text);
  void registerMessage(const char* id, IReporterMessage::ESeverity severity,
                       IReporterMessage::EHighlightDuration duration, const std::string& text);
  void unregisterMessage(const char* id);

  // eSeverityMessage when `id` is not registered.
  IReporterMessage::ESeverity severity(const char* id) const;
  // eHighlightNone when `id` is not registered.
  IReporterMessage::EHighlightDuration highlightDuration(const char* id) const;
  // The registered text, or a shared empty string when `id` is not
  // registered. Valid until `id` is registered again or unregistered.
  const std::wstring& message(const char* id) const;

 private:
  struct Record {
    IReporterMessage::ESeverity severity;
    IReporterMessage::EHighlightDuration duration;
    std::wstring text;
  };

  ReporterMessageRegistry();
  ~ReporterMessageRegistry();

  // std::hash of a pointer hashes its value: the key is the address.
  std::unordered_map<const char*, Record> m_records;
};

}  // namespace ut
