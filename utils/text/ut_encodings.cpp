#include <ut/ut_encodings.h>

#include <openssl/evp.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace ut {

namespace {

// The fourteen characters percentEncode escapes and their codes. The percent
// sign comes first so that the codes written for the others are not escaped
// again.
struct PercentCode {
  wchar_t character;
  std::wstring_view code;
};
constexpr std::array<PercentCode, 14> kPercentCodes{{
    {L'%', L"%25"},
    {L'"', L"%22"},
    {L'*', L"%2A"},
    {L',', L"%2C"},
    {L'/', L"%2F"},
    {L':', L"%3A"},
    {L';', L"%3B"},
    {L'<', L"%3C"},
    {L'=', L"%3D"},
    {L'>', L"%3E"},
    {L'?', L"%3F"},
    {L'\\', L"%5C"},
    {L'`', L"%60"},
    {L'|', L"%7C"},
}};

const PercentCode* codeOfCharacter(wchar_t c) {
  for (const auto& entry : kPercentCodes) {
    if (entry.character == c) return &entry;
  }
  return nullptr;
}

// The code starting at s[i], if s[i] starts one of the fourteen.
const PercentCode* codeAt(std::wstring_view s, std::size_t i) {
  if (s.size() - i < 3) return nullptr;
  const std::wstring_view candidate = s.substr(i, 3);
  for (const auto& entry : kPercentCodes) {
    if (entry.code == candidate) return &entry;
  }
  return nullptr;
}

constexpr std::string_view kStandardAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view kUrlAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

using DecodeTable = std::array<std::int8_t, 256>;

constexpr DecodeTable makeDecodeTable(std::string_view alphabet) {
  DecodeTable table{};
  for (auto& entry : table) entry = -1;
  for (std::size_t i = 0; i < alphabet.size(); ++i) {
    table[static_cast<unsigned char>(alphabet[i])] = static_cast<std::int8_t>(i);
  }
  return table;
}

constexpr DecodeTable kStandardTable = makeDecodeTable(kStandardAlphabet);
constexpr DecodeTable kUrlTable = makeDecodeTable(kUrlAlphabet);

// Decodes up to the first character outside the alphabet ('=' is outside
// both). Whole groups of four go three bytes at a time; the characters left
// after the last whole group give their complete bytes only, which is what
// both the group rule and the bit accumulator of base64url yield.
std::string decode(const std::string& text, const DecodeTable& table) {
  const auto* s = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  std::string out(n / 4 * 3 + 2, '\0');
  char* o = out.data();
  std::size_t i = 0;
  for (; i + 4 <= n; i += 4) {
    const int a = table[s[i]];
    const int b = table[s[i + 1]];
    const int c = table[s[i + 2]];
    const int d = table[s[i + 3]];
    if ((a | b | c | d) < 0) break;
    const auto v = static_cast<std::uint32_t>((a << 18) | (b << 12) | (c << 6) | d);
    *o++ = static_cast<char>(v >> 16);
    *o++ = static_cast<char>((v >> 8) & 0xFF);
    *o++ = static_cast<char>(v & 0xFF);
  }
  std::uint32_t v = 0;
  int count = 0;
  for (; i < n && count < 4; ++i, ++count) {
    const int x = table[s[i]];
    if (x < 0) break;
    v = (v << 6) | static_cast<std::uint32_t>(x);
  }
  // count < 4 here: a complete group would have been taken above.
  if (count >= 2) *o++ = static_cast<char>((v << (6 * (4 - count))) >> 16);
  if (count == 3) *o++ = static_cast<char>(((v << 6) >> 8) & 0xFF);
  out.resize(static_cast<std::size_t>(o - out.data()));
  return out;
}

std::string encode(const std::string& bytes, std::string_view alphabet, bool pad) {
  const auto* s = reinterpret_cast<const unsigned char*>(bytes.data());
  const std::size_t n = bytes.size();
  std::string out;
  out.reserve((n + 2) / 3 * 4);
  std::size_t i = 0;
  for (; i + 3 <= n; i += 3) {
    const std::uint32_t v = (std::uint32_t{s[i]} << 16) | (std::uint32_t{s[i + 1]} << 8) | s[i + 2];
    out.push_back(alphabet[v >> 18]);
    out.push_back(alphabet[(v >> 12) & 63]);
    out.push_back(alphabet[(v >> 6) & 63]);
    out.push_back(alphabet[v & 63]);
  }
  if (n - i == 1) {
    const std::uint32_t v = std::uint32_t{s[i]} << 16;
    out.push_back(alphabet[v >> 18]);
    out.push_back(alphabet[(v >> 12) & 63]);
    if (pad) out.append("==");
  } else if (n - i == 2) {
    const std::uint32_t v = (std::uint32_t{s[i]} << 16) | (std::uint32_t{s[i + 1]} << 8);
    out.push_back(alphabet[v >> 18]);
    out.push_back(alphabet[(v >> 12) & 63]);
    out.push_back(alphabet[(v >> 6) & 63]);
    if (pad) out.push_back('=');
  }
  return out;
}

}  // namespace

OdString percentEncode(const OdString& text) {
  const std::wstring_view s(text.c_str(), static_cast<std::size_t>(text.getLength()));
  std::size_t first = 0;
  while (first < s.size() && codeOfCharacter(s[first]) == nullptr) ++first;
  if (first == s.size()) return text;
  std::wstring out(s.substr(0, first));
  out.reserve(s.size() + 16);
  for (std::size_t i = first; i < s.size(); ++i) {
    if (const PercentCode* entry = codeOfCharacter(s[i])) {
      out.append(entry->code);
    } else {
      out.push_back(s[i]);
    }
  }
  return OdString(std::move(out));
}

// One pass from left to right gives what replacing the codes one after the
// other (with "%25" last) gives: codes cannot overlap, since a code holds no
// '%' after its first place, and only the final "%25" replacement produces
// percent signs, which nothing replaces again.
OdString percentDecode(const OdString& text) {
  const std::wstring_view s(text.c_str(), static_cast<std::size_t>(text.getLength()));
  if (s.find(L'%') == std::wstring_view::npos) return text;
  std::wstring out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size();) {
    if (s[i] == L'%') {
      if (const PercentCode* entry = codeAt(s, i)) {
        out.push_back(entry->character);
        i += entry->code.size();
        continue;
      }
    }
    out.push_back(s[i]);
    ++i;
  }
  return OdString(std::move(out));
}

std::string base64_decode(const std::string& text) { return decode(text, kStandardTable); }

std::string base64Url_decode(const std::string& text) { return decode(text, kUrlTable); }

std::string base64_encode(const std::string& bytes) { return encode(bytes, kStandardAlphabet, true); }

std::string base64Url_encode(const std::string& bytes) { return encode(bytes, kUrlAlphabet, false); }

std::string randomBase64url(std::size_t n) {
  std::string out;
  out.reserve(n);
  for (std::size_t i = 0; i < n; ++i) out.push_back(kUrlAlphabet[static_cast<unsigned>(std::rand()) & 63u]);
  return out;
}

std::string base64UrlSha256(const std::string& bytes) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int length = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1) return {};
  return base64Url_encode(std::string(reinterpret_cast<const char*>(digest.data()), length));
}

}  // namespace ut
