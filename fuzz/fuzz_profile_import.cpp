// Importing arbitrary bytes as a profile export file, as a round trip: when
// the import accepts the file, the profile's export, imported again under the
// same name and exported again, is the same file byte for byte, and it names
// that profile. Nothing is flushed: the profiles live in the manager's tree
// over a scratch store.

#include <ut/ut_config.h>
#include <ut/ut_profile.h>

#include "fuzz_check.h"
#include "fuzz_store.h"

#include <cstdint>
#include <memory>
#include <string>

namespace {

using ut::fuzz::check;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ut::fuzz::ScratchStore& scratch = ut::fuzz::ScratchStore::instance();
  static const auto manager = std::make_unique<ut::ProfileManagerBase>();
  const wxString name = L"Fuzzed";

  const std::string input = scratch.file("profile.reg");
  ut::fuzz::ScratchStore::write(input, data, size);
  ut::getProfileNameFromFile(input);
  if (!ut::importProfile(input, name, wxString())) return 0;

  const std::string first = scratch.file("first.reg");
  const std::string second = scratch.file("second.reg");
  check(ut::exportProfile(name, first));
  check(ut::getProfileNameFromFile(first) == name);
  check(ut::importProfile(first, name, wxString()));
  check(ut::exportProfile(name, second));
  check(ut::fuzz::ScratchStore::read(first) == ut::fuzz::ScratchStore::read(second));
  return 0;
}
