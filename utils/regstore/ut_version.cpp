#include <ut/ut_version.h>

#include "ut_regstore_db.h"

namespace ut {

const char* libraryVersion() { return UT_VERSION_TEXT; }

int storeSchemaVersion() { return regstore::kSchemaVersion; }

}  // namespace ut
