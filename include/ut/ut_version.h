#pragma once

// The versions a program built against the library can ask the loaded
// library for: its own, and that of the registry store files it reads and
// writes.

#include <ut/ut_export.h>

namespace ut {

// The library's version as "major.minor.patch" (never null; static text).
UT_EXPORT const char* libraryVersion();

// The schema version of the registry store files this library creates; it
// opens files of this version and refuses newer ones.
UT_EXPORT int storeSchemaVersion();

}  // namespace ut
