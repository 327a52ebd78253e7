#include <ut/ut.h>
#include <wx/init.h>
#include <cstdio>

int main(int argc, char** argv) {
  wxInitializer wx(argc, argv);
  std::printf("ut\n");
  return 0;
}
