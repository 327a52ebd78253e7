#pragma once

#include "OdResult.h"
#include "SdkExport.h"

#include <stdexcept>
#include <string>

// The SDK's exception: a result code and a message.
class UTSDK_EXPORT OdError : public std::runtime_error {
 public:
  explicit OdError(OdResult code);
  OdError(OdResult code, const std::wstring& message);

  OdResult code() const noexcept { return m_code; }
  const std::wstring& description() const noexcept { return m_message; }

 private:
  OdResult m_code;
  std::wstring m_message;
};
