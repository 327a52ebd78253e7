#pragma once

#include "OdResult.h"
#include "OdString.h"
#include "SdkExport.h"

#include <stdexcept>

// The SDK's exception: a result code and a human-readable message.
//
// what() returns the message as UTF-8, so that generic handlers catching
// std::exception still print something meaningful. Copying never loses the
// code or the message.
class UTSDK_EXPORT OdError : public std::runtime_error {
 public:
  // The message is a fixed English text describing `code`.
  explicit OdError(OdResult code);
  // A caller-supplied message; the code is eGeneralError.
  explicit OdError(const OdString& message);
  OdError(OdResult code, const OdString& message);

  OdResult code() const noexcept { return m_code; }
  const OdString& description() const noexcept { return m_message; }

  // The fixed text used for a code when no message is given.
  static OdString codeText(OdResult code);

 private:
  OdResult m_code;
  OdString m_message;
};
