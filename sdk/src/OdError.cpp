#include "OdError.h"

OdString OdError::codeText(OdResult code) {
  switch (code) {
    case eOk:
      return L"No error";
    case eNotImplementedYet:
      return L"Not implemented yet";
    case eGeneralError:
      return L"General error";
    case eInvalidInput:
      return L"Invalid input";
    case eNullObjectId:
      return L"Null object id";
    case eKeyNotFound:
      return L"Key not found";
    case eOutOfRange:
      return L"Index out of range";
    case eNotThatKindOfClass:
      return L"Object of wrong class";
    case eFileNotFound:
      return L"File not found";
    case eWasErased:
      return L"Object was erased";
    case eFileAccessErr:
      return L"File access error";
    case eDuplicateKey:
      return L"Duplicate key";
  }
  return OdString().format(L"Error %d", static_cast<int>(code));
}

OdError::OdError(OdResult code) : OdError(code, codeText(code)) {}

OdError::OdError(const OdString& message) : OdError(eGeneralError, message) {}

OdError::OdError(OdResult code, const OdString& message)
    : std::runtime_error(message.toUtf8()), m_code(code), m_message(message) {}
