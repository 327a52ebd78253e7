#include <ut/ut_uuid.h>

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid.hpp>

#include <algorithm>
#include <exception>
#include <string>

namespace ut {

namespace {

int hexValue(wchar_t c) {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  return -1;
}

bool isHyphenPlace(std::size_t i) { return i == 8 || i == 13 || i == 18 || i == 23; }

OdString format(const Uuid::Bytes& bytes, bool upper) {
  const char* digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
  std::wstring out;
  out.reserve(36);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) out.push_back(L'-');
    out.push_back(static_cast<wchar_t>(digits[bytes[i] >> 4]));
    out.push_back(static_cast<wchar_t>(digits[bytes[i] & 0x0F]));
  }
  return OdString(std::move(out));
}

}  // namespace

Uuid Uuid::generate() {
  try {
    // The generator reads the system's random source (getrandom); one per
    // thread saves reopening it for every identifier.
    thread_local boost::uuids::random_generator generator;
    const boost::uuids::uuid id = generator();
    Bytes bytes{};
    std::copy(id.begin(), id.end(), bytes.begin());
    return Uuid(bytes);
  } catch (const std::exception&) {
    return Uuid();
  }
}

bool Uuid::parse(const OdString& text, Uuid& uuid) {
  std::wstring_view s(text.c_str(), static_cast<std::size_t>(text.getLength()));
  if (s.size() == 38 && s.front() == L'{' && s.back() == L'}') s = s.substr(1, 36);
  if (s.size() != 36) return false;
  Bytes bytes{};
  std::size_t next = 0;
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (isHyphenPlace(i)) {
      if (s[i] != L'-') return false;
      continue;
    }
    const int high = hexValue(s[i]);
    const int low = i + 1 < s.size() ? hexValue(s[i + 1]) : -1;
    if (high < 0 || low < 0) return false;
    bytes[next++] = static_cast<std::uint8_t>((high << 4) | low);
    ++i;
  }
  uuid = Uuid(bytes);
  return true;
}

OdString Uuid::toString() const { return format(m_bytes, false); }

OdString Uuid::toBracedString() const { return L"{" + format(m_bytes, true) + L"}"; }

bool Uuid::isNil() const {
  return std::all_of(m_bytes.begin(), m_bytes.end(), [](std::uint8_t b) { return b == 0; });
}

}  // namespace ut
