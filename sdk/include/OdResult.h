#pragma once

// Result codes of the drawing SDK that the library and its stand-in use.
enum OdResult : int {
  eOk = 0,
  eNotImplementedYet = 1,
  eInvalidInput = 5,
  eKeyNotFound = 19,
  eOutOfRange = 58,
  eNullObjectId = 7,
  eWasErased = 84,
  eFileNotFound = 71,
  eFileAccessErr = 112,
  eNotThatKindOfClass = 61,
  eDuplicateKey = 313,
};
