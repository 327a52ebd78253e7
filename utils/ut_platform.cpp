#include "ut_platform.h"

#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utypes.h>

#include <vector>

namespace ut::platform {

namespace {

// wchar_t holds UTF-32 code points on Linux; ICU works on UTF-16.
std::u16string toUtf16(std::wstring_view s) {
  std::u16string out;
  out.reserve(s.size());
  for (wchar_t wc : s) {
    auto cp = static_cast<char32_t>(wc);
    if (cp >= 0x10000 && cp <= 0x10FFFF) {
      cp -= 0x10000;
      out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
    } else if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
      out.push_back(u'\uFFFD');
    } else {
      out.push_back(static_cast<char16_t>(cp));
    }
  }
  return out;
}

std::wstring fromUtf16(std::u16string_view s) {
  std::wstring out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size(); ++i) {
    char32_t c = s[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < s.size() && s[i + 1] >= 0xDC00 && s[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (s[i + 1] - 0xDC00);
      ++i;
    }
    out.push_back(static_cast<wchar_t>(c));
  }
  return out;
}

}  // namespace

std::wstring foldCase(std::wstring_view s) {
  // ASCII needs no table: most registry names are plain ASCII.
  bool ascii = true;
  for (wchar_t c : s) {
    if (static_cast<unsigned>(c) >= 0x80) {
      ascii = false;
      break;
    }
  }
  if (ascii) {
    std::wstring out(s);
    for (auto& c : out) {
      if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c + (L'a' - L'A'));
    }
    return out;
  }
  const std::u16string src = toUtf16(s);
  std::vector<UChar> dst(src.size() * 3 + 1);
  UErrorCode status = U_ZERO_ERROR;
  int32_t n = u_strFoldCase(dst.data(), static_cast<int32_t>(dst.size()),
                            reinterpret_cast<const UChar*>(src.data()), static_cast<int32_t>(src.size()),
                            U_FOLD_CASE_DEFAULT, &status);
  if (status == U_BUFFER_OVERFLOW_ERROR) {
    dst.resize(static_cast<std::size_t>(n) + 1);
    status = U_ZERO_ERROR;
    n = u_strFoldCase(dst.data(), static_cast<int32_t>(dst.size()),
                      reinterpret_cast<const UChar*>(src.data()), static_cast<int32_t>(src.size()),
                      U_FOLD_CASE_DEFAULT, &status);
  }
  if (U_FAILURE(status)) return std::wstring(s);
  return fromUtf16(std::u16string_view(reinterpret_cast<const char16_t*>(dst.data()), static_cast<std::size_t>(n)));
}

}  // namespace ut::platform
