// Importing arbitrary bytes as a registry-export file into a scratch store,
// as a round trip through the store: whatever the import left in the store,
// exported, imported into an emptied store and exported again, gives the
// same files byte for byte, except for values of type numbers the format
// does not interpret. Those are exported as a placeholder line, which an
// import reports and skips, so they are the one thing the second export
// lacks; an export without placeholders imports without a skipped entry.

#include <ut/ut_registry.h>
#include <ut/ut_regstore.h>

#include "fuzz_store.h"

#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr ut::ERootKey kRoots[] = {ut::eClassesRoot, ut::eCurrentUser, ut::eLocalMachine, ut::eUsers,
                                   ut::eCurrentConfig};

void check(bool condition) {
  if (!condition) __builtin_trap();
}

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

// An export file without its placeholder lines.
std::string withoutPlaceholders(const std::string& file) {
  std::string out;
  std::size_t start = 0;
  while (start < file.size()) {
    std::size_t end = file.find('\n', start);
    end = end == std::string::npos ? file.size() : end + 1;
    if (file.compare(start, 16, "[[Unknown type: ") != 0) out.append(file, start, end - start);
    start = end;
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ut::fuzz::ScratchStore& scratch = ut::fuzz::ScratchStore::instance();
  emptyStore();
  const std::string input = scratch.file("input.reg");
  ut::fuzz::ScratchStore::write(input, data, size);
  ut::Registry::importKey(OdString(wxString(input).wc_str()), false);

  const std::vector<std::string> first = exportAll(scratch);
  emptyStore();
  for (std::size_t i = 0; i < first.size(); ++i) {
    const std::string path = scratch.file("again-" + std::to_string(i) + ".reg");
    ut::fuzz::ScratchStore::write(path, reinterpret_cast<const std::uint8_t*>(first[i].data()), first[i].size());
    const bool imported = ut::Registry::importKey(OdString(wxString(path).wc_str()), false);
    check(imported || first[i].find("[[Unknown type: ") != std::string::npos);
  }
  const std::vector<std::string> second = exportAll(scratch);
  for (std::size_t i = 0; i < first.size(); ++i) check(second[i] == withoutPlaceholders(first[i]));
  return 0;
}
