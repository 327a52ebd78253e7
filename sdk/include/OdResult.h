#pragma once

// Result codes of the drawing SDK that the library and its stand-in use. The
// numeric values are part of the contract: callers compare and log them.
enum OdResult : int {
  eOk = 0,
  eNotImplementedYet = 1,
  eGeneralError = 2,
  eInvalidInput = 5,
  eNullObjectId = 7,
  eKeyNotFound = 19,
  eOutOfRange = 58,
  eNotThatKindOfClass = 61,
  eFileNotFound = 71,
  eWasErased = 84,
  eFileAccessErr = 112,
  eDuplicateKey = 313,
};
