// Importing arbitrary bytes as a registry-export file into a scratch store,
// as a round trip through the store: whatever the import left in the store,
// exported, imported into an emptied store and exported again, gives the
// same files byte for byte, and the import skips nothing. Values of type
// numbers the format does not interpret are exported as a placeholder line,
// which an import reports and skips: when there are some, the second export
// has none, and it goes round again unchanged.

#include <ut/ut_registry.h>
#include <ut/ut_regstore.h>

#include "fuzz_check.h"
#include "fuzz_store.h"
#include "ut_regfile.h"

#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr ut::ERootKey kRoots[] = {ut::eClassesRoot, ut::eCurrentUser, ut::eLocalMachine, ut::eUsers,
                                   ut::eCurrentConfig};

using ut::fuzz::check;

// Removes every key and every value of the roots themselves.
void emptyStore() {
  ut::RegTransaction transaction;
  check(transaction.isActive());
  for (const ut::ERootKey root : kRoots) {
    ut::RegKey key(root, wxString());
    check(key.open(ut::eWrite));
    std::vector<wxString> names;
    check(key.getSubKeys(names));
    for (const auto& name : names) check(key.deleteKey(name));
    check(key.getValueNames(names));
    for (const auto& name : names) check(key.deleteValue(name));
  }
  check(transaction.commit());
}

// One export file per root, read back as bytes.
std::vector<std::string> exportAll(const ut::fuzz::ScratchStore& scratch) {
  std::vector<std::string> files;
  for (const ut::ERootKey root : kRoots) {
    const std::string path = scratch.file("export.reg");
    check(ut::Registry::exportKey(OdString(ut::rootKeyName(root).wc_str()), OdString(wxString(path).wc_str()), false));
    files.push_back(ut::fuzz::ScratchStore::read(path));
  }
  return files;
}

// Empties the store and imports the files; true when every entry was read
// and applied.
bool importAll(const ut::fuzz::ScratchStore& scratch, const std::vector<std::string>& files) {
  emptyStore();
  bool all = true;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::string path = scratch.file("again-" + std::to_string(i) + ".reg");
    ut::fuzz::ScratchStore::write(path, reinterpret_cast<const std::uint8_t*>(files[i].data()), files[i].size());
    if (!ut::Registry::importKey(OdString(wxString(path).wc_str()), false)) all = false;
  }
  return all;
}

// How many entries of the files the reader skips. In the store's own
// exports only the placeholders may be skipped.
int skippedEntries(const std::vector<std::string>& files) {
  int skipped = 0;
  for (const auto& file : files) {
    const bool known = ut::regfile::parse(ut::regfile::decodeFile(file), [&](const ut::regfile::Operation& op) {
      if (op.kind == ut::regfile::Operation::eError) ++skipped;
    });
    check(known);
  }
  return skipped;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ut::fuzz::ScratchStore& scratch = ut::fuzz::ScratchStore::instance();
  emptyStore();
  const std::string input = scratch.file("input.reg");
  ut::fuzz::ScratchStore::write(input, data, size);
  ut::Registry::importKey(OdString(wxString(input).wc_str()), false);

  const std::vector<std::string> first = exportAll(scratch);
  const bool complete = importAll(scratch, first);
  const std::vector<std::string> second = exportAll(scratch);
  if (skippedEntries(first) == 0) {
    check(complete && second == first);
    return 0;
  }
  // The placeholders went with the first import; what remains is stable.
  check(!complete && skippedEntries(second) == 0 && importAll(scratch, second) && exportAll(scratch) == second);
  return 0;
}
