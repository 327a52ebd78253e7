#include <ut/ut_parser.h>

#include <cwctype>
#include <string_view>

namespace ut {

namespace {

bool isSpace(wchar_t c) { return std::iswspace(static_cast<std::wint_t>(c)) != 0; }

OdString toOdString(std::wstring_view s) { return OdString(std::wstring(s)); }

}  // namespace

void CStringParser::init() {
  m_attributes.clear();
  m_message = OdString();
}

bool CStringParser::parse(const OdString& text) {
  init();
  const std::wstring_view s(text.c_str(), static_cast<std::size_t>(text.getLength()));
  std::size_t p = 0;
  while (true) {
    while (p < s.size() && isSpace(s[p])) ++p;
    if (p == s.size()) return true;

    const std::size_t keyStart = p;
    while (p < s.size() && s[p] != L'=' && !isSpace(s[p])) ++p;
    const std::wstring_view key = s.substr(keyStart, p - keyStart);
    if (p == s.size()) {
      m_message = toOdString(key);
      return true;
    }
    if (s[p] != L'=' || p + 1 == s.size() || s[p + 1] != L'{') {
      // Not an attribute: the message starts with this word.
      m_message = toOdString(s.substr(keyStart));
      return true;
    }

    p += 2;
    const std::size_t valueStart = p;
    while (p < s.size() && s[p] != L'}') ++p;
    const std::wstring_view value = s.substr(valueStart, p - valueStart);
    if (p == s.size()) {
      m_message = toOdString(s.substr(keyStart));
      return false;
    }
    m_attributes.emplace(toOdString(key), toOdString(value));
    ++p;
  }
}

OdString CStringParser::attribute(const OdString& key) const {
  const auto it = m_attributes.find(key);
  return it == m_attributes.end() ? OdString() : it->second;
}

}  // namespace ut
