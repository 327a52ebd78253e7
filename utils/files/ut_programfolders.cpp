// The program's folders: executable, machine-wide data, user configuration
// and the system's shared data, from /proc/self/exe and the XDG base
// directories.

#include <ut/ut_config.h>
#include <ut/ut_fileops.h>

#include "ut_platform.h"

#include <string>

namespace ut {

namespace {

OdString withSeparator(std::wstring dir) {
  if (dir.empty()) return OdString();
  if (dir.back() != L'/') dir.push_back(L'/');
  return OdString(std::move(dir));
}

}  // namespace

OdString getExecutableFileName() { return OdString(platform::executablePath()); }

OdString getExecutableFolder() {
  const std::wstring exe = platform::executablePath();
  const auto slash = exe.rfind(L'/');
  return slash == std::wstring::npos ? OdString() : OdString(exe.substr(0, slash + 1));
}

OdString getExecutableCommand() {
  const OdString exe = getExecutableFileName();
  if (exe.find(L' ') < 0) return exe;
  return OdString(L"\"") + exe + L"\"";
}

OdString getProgramDataFolder() {
  std::wstring base = L"/usr/local/share";
  if (const auto dirs = platform::environmentText("XDG_DATA_DIRS")) {
    std::size_t start = 0;
    while (start <= dirs->size()) {
      const auto end = std::min(dirs->find(L':', start), dirs->size());
      const std::wstring entry = dirs->substr(start, end - start);
      if (!entry.empty() && entry.front() == L'/') {
        base = entry;
        break;
      }
      start = end + 1;
    }
  }
  while (base.size() > 1 && base.back() == L'/') base.pop_back();
  const OdString product = Config::regProduct();
  return withSeparator(base + L"/" + std::wstring(product.c_str()));
}

OdString getUserConfigDir() { return withSeparator(platform::userConfigDirectory()); }

OdString getOSDirectory() { return OdString(L"/usr/share/"); }

}  // namespace ut
