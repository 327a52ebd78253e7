#include <gtest/gtest.h>
#include <wx/init.h>

#include <ut/ut_regstore.h>

#include <cstdio>
#include <cstdlib>

#include "test_support.h"

// wxWidgets is initialised once for the whole test program, as a host would.
int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  wxInitializer wx;
  if (!wx.IsOk()) {
    fprintf(stderr, "wxWidgets failed to initialise\n");
    return 1;
  }
  // No test may touch the registry store of the user running it: the default
  // store of this program is a scratch file (tests that write use TempStore).
  ut::test::TempDir storeDir;
  ::setenv("UT_REGISTRY_FILE", (storeDir.path() / "default-registry.db").c_str(), 1);
  const int result = RUN_ALL_TESTS();
  ut::RegStore::close();
  return result;
}
