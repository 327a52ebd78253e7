#pragma once

#include "OdAnsiString.h"
#include "OdString.h"

#include <ostream>

// Readable failure messages for the SDK's strings in assertions (found by
// argument-dependent lookup, hence the global namespace).
inline void PrintTo(const OdString& s, std::ostream* os) { *os << '"' << s.toUtf8() << '"'; }
inline void PrintTo(const OdAnsiString& s, std::ostream* os) { *os << '"' << s.c_str() << '"'; }
