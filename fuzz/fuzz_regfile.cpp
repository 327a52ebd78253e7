// The registry-export reader on arbitrary file bytes, as a round trip: the
// keys and values it reads, written out again by the writer (as UTF-8 bytes)
// and read back, are the same keys and values in the same order, byte for
// byte. What the writer has no form for is left out of the comparison:
// deletions, lines that could not be read, and values of type numbers it does
// not interpret (it writes a placeholder line for those, which the reader
// reports once each and skips).

#include "ut_regfile.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

using ut::regfile::Operation;

struct Entry {
  bool isKey = false;
  std::wstring keyName;  // keys: "ROOT\path" as a key line writes it
  std::wstring name;     // values
  unsigned type = 0;
  std::vector<std::uint8_t> data;

  bool operator==(const Entry&) const = default;
};

bool writable(unsigned type) { return type <= 4 || type == 7 || type == 11; }

struct Read {
  bool headerOk = false;
  std::vector<Entry> entries;   // keys opened and values set, in file order
  std::vector<Entry> writable;  // the same without the values the writer replaces by a placeholder
  int errors = 0;
  int deletions = 0;
};

Read readText(std::wstring_view text) {
  Read out;
  out.headerOk = ut::regfile::parse(text, [&out](const Operation& op) {
    switch (op.kind) {
      case Operation::eOpenKey:
        out.entries.push_back({true, op.path.empty() ? op.rootName : op.rootName + L"\\" + op.path, {}, 0, {}});
        out.writable.push_back(out.entries.back());
        break;
      case Operation::eSetValue:
        out.entries.push_back({false, {}, op.name, op.type, op.data});
        if (writable(op.type)) out.writable.push_back(out.entries.back());
        break;
      case Operation::eDeleteKey:
      case Operation::eDeleteValue:
        ++out.deletions;
        break;
      case Operation::eError:
        ++out.errors;
        break;
    }
  });
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::wstring text = ut::regfile::decodeFile(std::string_view(reinterpret_cast<const char*>(data), size));
  const Read first = readText(text);
  if (!first.headerOk) return 0;

  ut::regfile::Writer writer;
  for (const Entry& e : first.entries) {
    if (e.isKey) {
      writer.key(e.keyName);
    } else {
      writer.value(e.name, e.type, e.data.data(), e.data.size());
    }
  }
  const std::string bytes = writer.utf8();
  const Read second = readText(ut::regfile::decodeFile(bytes));
  if (!second.headerOk || second.entries != first.writable) __builtin_trap();
  // Nothing the writer wrote may read as a deletion or an error, except its
  // placeholders, which the reader reports once each.
  const auto placeholders = static_cast<int>(first.entries.size() - first.writable.size());
  if (second.deletions != 0 || second.errors != placeholders) __builtin_trap();
  return 0;
}
