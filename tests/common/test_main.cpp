#include <gtest/gtest.h>
#include <wx/init.h>

// wxWidgets is initialised once for the whole test program, as a host would.
int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  wxInitializer wx;
  if (!wx.IsOk()) {
    fprintf(stderr, "wxWidgets failed to initialise\n");
    return 1;
  }
  return RUN_ALL_TESTS();
}
