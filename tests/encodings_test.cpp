#include <gtest/gtest.h>

#include <ut/ut_encodings.h>
#include <ut/ut_uuid.h>

#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace ut;

namespace {

// The fourteen codes applied one after the other, as the definition reads.
OdString stepwiseDecode(OdString s) {
  if (s.find(L'%') < 0) return s;
  static const std::pair<const wchar_t*, const wchar_t*> codes[] = {
      {L"%22", L"\""}, {L"%2A", L"*"}, {L"%2C", L","}, {L"%2F", L"/"}, {L"%3A", L":"},
      {L"%3B", L";"},  {L"%3C", L"<"}, {L"%3D", L"="}, {L"%3E", L">"}, {L"%3F", L"?"},
      {L"%5C", L"\\"}, {L"%60", L"`"}, {L"%7C", L"|"}, {L"%25", L"%"}};
  for (const auto& [code, character] : codes) s.replace(code, character);
  return s;
}

std::wstring randomText(std::mt19937& rng, const std::wstring& alphabet, int maxLength) {
  std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
  std::uniform_int_distribution<int> length(0, maxLength);
  std::wstring s;
  for (int i = length(rng); i > 0; --i) s.push_back(alphabet[pick(rng)]);
  return s;
}

}  // namespace

// --- percent encoding -------------------------------------------------------------

TEST(PercentEncoding, EveryForbiddenCharacter) {
  EXPECT_EQ(percentEncode(L"%\"*,/:;<=>?\\`|"), OdString(L"%25%22%2A%2C%2F%3A%3B%3C%3D%3E%3F%5C%60%7C"));
  EXPECT_EQ(percentDecode(L"%25%22%2A%2C%2F%3A%3B%3C%3D%3E%3F%5C%60%7C"), OdString(L"%\"*,/:;<=>?\\`|"));
}

TEST(PercentEncoding, DocumentedCases) {
  EXPECT_EQ(percentEncode(L"a%2F"), OdString(L"a%252F"));
  EXPECT_EQ(percentDecode(L"a%252F"), OdString(L"a%2F"));
  EXPECT_EQ(percentEncode(L"plain name with spaces \u00e9\u4e2d"), OdString(L"plain name with spaces \u00e9\u4e2d"));
  EXPECT_EQ(percentEncode(L""), OdString());
  EXPECT_EQ(percentEncode(L"a/b"), OdString(L"a%2Fb"));
}

TEST(PercentEncoding, DecodeLeavesUnknownCodesAlone) {
  EXPECT_EQ(percentDecode(L"%2a%2f"), OdString(L"%2a%2f"));  // lower case is not a code
  EXPECT_EQ(percentDecode(L"%41%20"), OdString(L"%41%20"));  // not one of the fourteen
  EXPECT_EQ(percentDecode(L"100%"), OdString(L"100%"));
  EXPECT_EQ(percentDecode(L"%%3A"), OdString(L"%:"));
  EXPECT_EQ(percentDecode(L"%2"), OdString(L"%2"));
  EXPECT_EQ(percentDecode(L"%253A"), OdString(L"%3A"));  // decoded once only
  EXPECT_EQ(percentDecode(L"no codes"), OdString(L"no codes"));
}

TEST(PercentEncoding, RoundTripsAndMatchesStepwiseDecoding) {
  std::mt19937 rng(11);
  const std::wstring alphabet = L"%\"*,/:;<=>?\\`|aZ09 2AF5C7\u00e9\u4e2d\U0001F600";
  for (int n = 0; n < 20000; ++n) {
    const OdString text(randomText(rng, alphabet, 16));
    const OdString encoded = percentEncode(text);
    ASSERT_EQ(percentDecode(encoded), text) << n;
    // No forbidden character survives encoding except the percent signs of
    // the codes.
    for (wchar_t c : std::wstring(encoded.c_str())) EXPECT_EQ(std::wstring(L"\"*,/:;<=>?\\`|").find(c), std::wstring::npos);
    // Decoding arbitrary text agrees with replacing the codes one by one.
    ASSERT_EQ(percentDecode(text), stepwiseDecode(text)) << n;
  }
}

// --- base64 -------------------------------------------------------------------------

TEST(Base64, Rfc4648Vectors) {
  const std::pair<const char*, const char*> vectors[] = {
      {"", ""},         {"Zg==", "f"},         {"Zm8=", "fo"},        {"Zm9v", "foo"},
      {"Zm9vYg==", "foob"}, {"Zm9vYmE=", "fooba"}, {"Zm9vYmFy", "foobar"}};
  for (const auto& [encoded, decoded] : vectors) {
    EXPECT_EQ(base64_decode(encoded), decoded) << encoded;
    EXPECT_EQ(base64_encode(decoded), encoded) << decoded;
    // Without padding the same bytes come out.
    std::string unpadded(encoded);
    unpadded.erase(unpadded.find_last_not_of('=') + 1);
    EXPECT_EQ(base64_decode(unpadded), decoded);
    EXPECT_EQ(base64Url_decode(unpadded), decoded);
    EXPECT_EQ(base64Url_decode(encoded), decoded);
  }
  EXPECT_EQ(base64_decode("TWE="), "Ma");
}

TEST(Base64, StopsAtTheFirstCharacterOutsideTheAlphabet) {
  EXPECT_EQ(base64_decode("Zm9v YmFy"), "foo");
  EXPECT_EQ(base64_decode("Zm9vY-Fy"), "foo");  // '-' is base64url only
  EXPECT_EQ(base64_decode("Zg==Zm9v"), "f");
  EXPECT_EQ(base64_decode("=Zm9v"), "");
  EXPECT_EQ(base64_decode("Z"), "");  // a lone character makes no byte
  EXPECT_EQ(base64_decode(std::string("Zm9v\0YmFy", 9)), "foo");
  EXPECT_EQ(base64_decode("Zm9v\xc3\xa9YmFy"), "foo");
  EXPECT_EQ(base64Url_decode("Zm9v+YmFy"), "foo");
  EXPECT_EQ(base64Url_decode("Zm9v/YmFy"), "foo");
  EXPECT_EQ(base64Url_decode("Zm9vYg=x"), "foob");
}

TEST(Base64, AlphabetsDiffer) {
  const std::string bytes("\xfb\xff\xbf", 3);
  EXPECT_EQ(base64_encode(bytes), "+/+/");
  EXPECT_EQ(base64Url_encode(bytes), "-_-_");
  EXPECT_EQ(base64_decode("+/+/"), bytes);
  EXPECT_EQ(base64Url_decode("-_-_"), bytes);
  EXPECT_EQ(base64_decode("-_-_"), "");
  EXPECT_EQ(base64Url_decode("+/+/"), "");
}

TEST(Base64, RoundTripsArbitraryBytes) {
  std::mt19937 rng(3);
  std::uniform_int_distribution<int> byte(0, 255);
  for (int n = 0; n < 2000; ++n) {
    std::string bytes(static_cast<std::size_t>(n % 97), '\0');
    for (auto& b : bytes) b = static_cast<char>(byte(rng));
    const std::string standard = base64_encode(bytes);
    EXPECT_EQ(standard.size() % 4, 0u);
    EXPECT_EQ(base64_decode(standard), bytes);
    const std::string url = base64Url_encode(bytes);
    EXPECT_EQ(url.find('='), std::string::npos);
    EXPECT_EQ(base64Url_decode(url), bytes);
  }
}

TEST(Base64, Sha256ChallengeOfRfc7636AppendixB) {
  EXPECT_EQ(base64UrlSha256("dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk"),
            "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM");
  // SHA-256 of the empty input.
  EXPECT_EQ(base64UrlSha256(""), "47DEQpj8HBSa-_TImW-5JCeuQeRkm5NMpJWZG3hSuFU");
  EXPECT_EQ(base64UrlSha256(std::string("\0", 1)).size(), 43u);
}

TEST(Base64, RandomStrings) {
  EXPECT_EQ(randomBase64url(0), "");
  const std::string s = randomBase64url(4096);
  ASSERT_EQ(s.size(), 4096u);
  EXPECT_EQ(s.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"), std::string::npos);
  // The characters follow rand(): the same seed gives the same string.
  std::srand(42);
  const std::string a = randomBase64url(64);
  std::srand(42);
  EXPECT_EQ(randomBase64url(64), a);
  EXPECT_EQ(std::set<char>(s.begin(), s.end()).size(), 64u);  // all 64 characters turn up
}

// --- UUIDs --------------------------------------------------------------------------

TEST(Uuid, GeneratesDistinctVersion4Identifiers) {
  std::set<Uuid> seen;
  for (int i = 0; i < 1000; ++i) {
    const Uuid id = Uuid::generate();
    EXPECT_FALSE(id.isNil());
    EXPECT_EQ(id.bytes()[6] >> 4, 4);            // version 4
    EXPECT_EQ(id.bytes()[8] & 0xC0, 0x80);       // RFC 4122 variant
    EXPECT_TRUE(seen.insert(id).second);
  }
  // Also from other threads.
  std::vector<Uuid> fromThreads(4);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < fromThreads.size(); ++i) threads.emplace_back([&, i] { fromThreads[i] = Uuid::generate(); });
  for (auto& t : threads) t.join();
  for (const Uuid& id : fromThreads) EXPECT_TRUE(seen.insert(id).second);
}

TEST(Uuid, TextFormsRoundTrip) {
  Uuid::Bytes bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(0x10 * i + 0x0A);
  const Uuid id(bytes);
  EXPECT_EQ(id.toString(), OdString(L"0a1a2a3a-4a5a-6a7a-8a9a-aabacadaeafa"));
  EXPECT_EQ(id.toBracedString(), OdString(L"{0A1A2A3A-4A5A-6A7A-8A9A-AABACADAEAFA}"));
  Uuid parsed;
  EXPECT_TRUE(Uuid::parse(id.toString(), parsed));
  EXPECT_EQ(parsed, id);
  Uuid braced;
  EXPECT_TRUE(Uuid::parse(id.toBracedString(), braced));
  EXPECT_EQ(braced, id);
  const Uuid random = Uuid::generate();
  Uuid again;
  EXPECT_TRUE(Uuid::parse(random.toString(), again));
  EXPECT_EQ(again, random);
  EXPECT_EQ(Uuid().toString(), OdString(L"00000000-0000-0000-0000-000000000000"));
  EXPECT_TRUE(Uuid().isNil());
}

TEST(Uuid, ParseRefusesMalformedText) {
  const Uuid sentinel = Uuid::generate();
  for (const wchar_t* bad : {L"", L"0a1a2a3a4a5a6a7a8a9aaabacadaeafa", L"0a1a2a3a-4a5a-6a7a-8a9a-aabacadaeaf",
                             L"0a1a2a3a-4a5a-6a7a-8a9a-aabacadaeafaa", L"0a1a2a3a-4a5a-6a7a-8a9a_aabacadaeafa",
                             L"0a1a2a3a-4a5a-6a7a-8a9a-aabacadaeafg", L"{0a1a2a3a-4a5a-6a7a-8a9a-aabacadaeafa",
                             L"0a1a2a3a-4a5a-6a7a-8a9a-aabacadaeafa}", L" 0a1a2a3a-4a5a-6a7a-8a9a-aabacadaeaf",
                             L"0a1a2a3a--4a5a-6a7a-8a9a-aabacadaeaf", L"(0a1a2a3a-4a5a-6a7a-8a9a-aabacadaeafa)",
                             L"0a1a2a3a-4a5a-6a7a-8a9a-aabacadae\uff41fa"}) {
    Uuid out = sentinel;
    EXPECT_FALSE(Uuid::parse(bad, out)) << std::wstring(bad).size();
    EXPECT_EQ(out, sentinel);
  }
}

TEST(Uuid, OrderFollowsTheText) {
  Uuid a;
  Uuid b;
  ASSERT_TRUE(Uuid::parse(L"00000000-0000-0000-0000-0000000000ff", a));
  ASSERT_TRUE(Uuid::parse(L"00000000-0000-0000-0000-000000000100", b));
  EXPECT_LT(a, b);
  EXPECT_LT(a.toString(), b.toString());
  EXPECT_NE(std::hash<Uuid>{}(a), std::hash<Uuid>{}(b));
}
