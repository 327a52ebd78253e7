// Convenience readers on top of TextFile, and the line reader for C streams.

#include <ut/ut_textfile.h>

#include <OdError.h>

#include <cwchar>
#include <string>

namespace ut {

OdString readEntireFile(const OdString& name) {
  TextFile file(name);
  if (!file.open(nullptr)) {
    OdString message;
    message.format(L"Unable to open input file '%ls'", name.c_str());
    throw OdError(message);
  }
  std::size_t total = 0;
  for (size_t i = 0; i < file.getLineCount(); ++i) total += file.getLine(i).length();
  std::wstring text;
  text.reserve(total);
  // Callers rely on the lines being joined with nothing between them.
  for (size_t i = 0; i < file.getLineCount(); ++i) text.append(file.getLine(i).wc_str(), file.getLine(i).length());
  file.close();
  return OdString(std::move(text));
}

bool readTextFileContent(OdArray<OdString>& lines, const OdString& name) {
  TextFile file(name);
  if (!file.open(nullptr)) return false;
  lines.reserve(lines.size() + static_cast<OdArray<OdString>::size_type>(file.getLineCount()));
  for (size_t i = 0; i < file.getLineCount(); ++i) lines.append(OdString(file.getLine(i)));
  file.close();
  return true;
}

wchar_t* nfgets(wchar_t* buffer, int count, FILE* stream) {
  if (buffer == nullptr || stream == nullptr || std::feof(stream) != 0) return nullptr;
  const int capacity = count > 0 ? count : 0;
  int stored = 0;
  bool atEnd = false;
  for (;;) {
    const std::wint_t c = std::fgetwc(stream);
    if (c == WEOF) {
      atEnd = true;
      break;
    }
    if (c == L'\n' || c == 127) break;
    if (c == L'\r') continue;
    // The character that finds the buffer full is consumed and lost.
    if (stored == capacity) break;
    buffer[stored++] = static_cast<wchar_t>(c);
  }
  buffer[stored] = L'\0';
  return atEnd && stored == 0 ? nullptr : buffer;
}

}  // namespace ut
