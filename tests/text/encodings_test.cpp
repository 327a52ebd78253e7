#include <gtest/gtest.h>

#include <ut/ut_encodings.h>
#include <ut/ut_uuid.h>

#include <random>
#include <string>

using namespace ut;

namespace {

// The fourteen codes applied one after the other, as the definition reads.
OdString stepwiseDecode(OdString s) {
  static const std::pair<const wchar_t*, const wchar_t*> codes[] = {
      {L"%22", L"\""}, {L"%2A", L"*"}, {L"%2C", L","}, {L"%2F", L"/"},  {L"%3A", L":"}, {L"%3B", L";"}, {L"%3C", L"<"},
      {L"%3D", L"="},  {L"%3E", L">"}, {L"%3F", L"?"}, {L"%5C", L"\\"}, {L"%60", L"`"}, {L"%7C", L"|"}, {L"%25", L"%"}};
  for (const auto& [code, character] : codes) s.replace(code, character);
  return s;
}

}  // namespace

// --- percent encoding -------------------------------------------------------------

TEST(PercentEncoding, EveryForbiddenCharacterAndOnlyThose) {
  const std::pair<const wchar_t*, const wchar_t*> pairs[] = {
      {L"%\"*,/:;<=>?\\`|", L"%25%22%2A%2C%2F%3A%3B%3C%3D%3E%3F%5C%60%7C"},
      {L"a%2F", L"a%252F"},
      {L"plain name with spaces \u00e9\u4e2d", L"plain name with spaces \u00e9\u4e2d"},
      {L"", L""}};
  for (const auto& [decoded, encoded] : pairs) {
    EXPECT_EQ(percentEncode(decoded), OdString(encoded));
    EXPECT_EQ(percentDecode(encoded), OdString(decoded));
  }
  // Lower case, other codes, cut-off codes are left alone; decoding happens once.
  const std::pair<const wchar_t*, const wchar_t*> decodeOnly[] = {{L"%2a%2f", L"%2a%2f"}, {L"%41%20", L"%41%20"},
                                                                  {L"100%", L"100%"},     {L"%%3A", L"%:"},
                                                                  {L"%2", L"%2"},         {L"%253A", L"%3A"}};
  for (const auto& [input, expected] : decodeOnly) EXPECT_EQ(percentDecode(input), OdString(expected)) << input;
}

TEST(PercentEncoding, RoundTripsAndMatchesStepwiseDecoding) {
  std::mt19937 rng(11);
  const std::wstring alphabet = L"%\"*,/:;<=>?\\`|aZ09 2AF5C7\u00e9\u4e2d\U0001F600";
  std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
  std::uniform_int_distribution<int> length(0, 16);
  for (int n = 0; n < 20000; ++n) {
    std::wstring raw;
    for (int i = length(rng); i > 0; --i) raw.push_back(alphabet[pick(rng)]);
    const OdString text(raw);
    const OdString encoded = percentEncode(text);
    ASSERT_EQ(percentDecode(encoded), text) << n;
    // No forbidden character survives encoding except the percent signs of the codes.
    ASSERT_EQ(std::wstring(encoded.c_str()).find_first_of(L"\"*,/:;<=>?\\`|"), std::wstring::npos) << n;
    // Decoding arbitrary text agrees with replacing the codes one by one.
    ASSERT_EQ(percentDecode(text), stepwiseDecode(text)) << n;
  }
}

// --- base64 -------------------------------------------------------------------------

TEST(Base64, Rfc4648VectorsWithAndWithoutPadding) {
  const std::pair<const char*, const char*> vectors[] = {{"", ""},
                                                         {"Zg==", "f"},
                                                         {"Zm8=", "fo"},
                                                         {"Zm9v", "foo"},
                                                         {"Zm9vYg==", "foob"},
                                                         {"Zm9vYmE=", "fooba"},
                                                         {"Zm9vYmFy", "foobar"}};
  for (const auto& [encoded, decoded] : vectors) {
    EXPECT_EQ(base64_decode(encoded), decoded) << encoded;
    EXPECT_EQ(base64_encode(decoded), encoded) << decoded;
    EXPECT_EQ(base64Url_decode(encoded), decoded);
    std::string unpadded(encoded);
    unpadded.erase(unpadded.find_last_not_of('=') + 1);
    EXPECT_EQ(base64_decode(unpadded), decoded);
    EXPECT_EQ(base64Url_decode(unpadded), decoded);
  }
}

TEST(Base64, StopsAtTheFirstCharacterOutsideTheAlphabet) {
  const std::pair<std::string, std::string> standard[] = {{"Zm9v YmFy", "foo"},
                                                          {"Zm9vY-Fy", "foo"} /* '-' is base64url only */,
                                                          {"Zg==Zm9v", "f"},
                                                          {"=Zm9v", ""},
                                                          {"Z", ""} /* a lone character makes no byte */,
                                                          {std::string("Zm9v\0YmFy", 9), "foo"},
                                                          {"Zm9v\xc3\xa9YmFy", "foo"},
                                                          {"-_-_", ""}};
  for (const auto& [input, expected] : standard) EXPECT_EQ(base64_decode(input), expected) << input;
  for (const auto& [input, expected] :
       {std::pair{"Zm9v+YmFy", "foo"}, {"Zm9v/YmFy", "foo"}, {"Zm9vYg=x", "foob"}, {"+/+/", ""}}) {
    EXPECT_EQ(base64Url_decode(input), expected) << input;
  }
  // The two alphabets differ only in these two characters.
  const std::string bytes("\xfb\xff\xbf", 3);
  EXPECT_TRUE(base64_encode(bytes) == "+/+/" && base64_decode("+/+/") == bytes);
  EXPECT_TRUE(base64Url_encode(bytes) == "-_-_" && base64Url_decode("-_-_") == bytes);
}

TEST(Base64, Sha256ChallengeOfRfc7636AppendixB) {
  EXPECT_EQ(base64UrlSha256("dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk"),
            "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM");
  EXPECT_EQ(base64UrlSha256(""), "47DEQpj8HBSa-_TImW-5JCeuQeRkm5NMpJWZG3hSuFU");  // SHA-256 of nothing
}

// --- UUIDs --------------------------------------------------------------------------

TEST(Uuid, TextFormsRoundTripAndOrderFollowsTheText) {
  Uuid::Bytes bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(0x10 * i + 0x0A);
  const Uuid id(bytes);
  EXPECT_EQ(id.toString(), OdString(L"0a1a2a3a-4a5a-6a7a-8a9a-aabacadaeafa"));
  EXPECT_EQ(id.toBracedString(), OdString(L"{0A1A2A3A-4A5A-6A7A-8A9A-AABACADAEAFA}"));
  for (const OdString& text : {id.toString(), id.toBracedString()}) {
    Uuid parsed;
    EXPECT_TRUE(Uuid::parse(text, parsed) && parsed == id);
  }
  EXPECT_TRUE(Uuid().isNil());
  Uuid a;
  Uuid b;
  ASSERT_TRUE(Uuid::parse(L"00000000-0000-0000-0000-0000000000ff", a));
  ASSERT_TRUE(Uuid::parse(L"00000000-0000-0000-0000-000000000100", b));
  EXPECT_LT(a, b);
  EXPECT_NE(std::hash<Uuid>{}(a), std::hash<Uuid>{}(b));
}

TEST(Uuid, ParseRefusesMalformedText) {
  const Uuid sentinel = Uuid::generate();
  for (const wchar_t* bad : {L"", L"0a1a2a3a-4a5a-6a7a-8a9a-aabacadaeaf", L"0a1a2a3a-4a5a-6a7a-8a9a-aabacadaeafaa",
                             L"0a1a2a3a-4a5a-6a7a-8a9a-aabacadaeafg", L"{0a1a2a3a-4a5a-6a7a-8a9a-aabacadaeafa",
                             L"0a1a2a3a-4a5a-6a7a-8a9a-aabacadae\uff41fa"}) {
    Uuid out = sentinel;
    EXPECT_FALSE(Uuid::parse(bad, out)) << bad;
    EXPECT_EQ(out, sentinel);  // untouched on failure
  }
}
