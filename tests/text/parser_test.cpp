#include <gtest/gtest.h>

#include <ut/ut_parser.h>

#include <map>
#include <random>
#include <string>

using namespace ut;

namespace {

struct Case {
  const wchar_t* input;
  bool result;
  const wchar_t* message;
  std::map<std::wstring, std::wstring> attributes;
};

std::map<std::wstring, std::wstring> attributesOf(const CStringParser& parser) {
  std::map<std::wstring, std::wstring> out;
  for (const auto& [key, value] : parser.attributes()) out.emplace(key.c_str(), value.c_str());
  return out;
}

}  // namespace

TEST(CStringParser, DocumentedPairsAndEdgeCases) {
  const Case cases[] = {
      {L"priority={0}  message", true, L"message", {{L"priority", L"0"}}},
      {L"priority={1} entity={hf56} message", true, L"message", {{L"priority", L"1"}, {L"entity", L"hf56"}}},
      {L"new message \n", true, L"new message \n", {}},
      {L"attrib1={value1}", true, L"", {{L"attrib1", L"value1"}}},
      {L"attrib1={value1", false, L"attrib1={value1", {}},
      {L"attrib1={value1 message", false, L"attrib1={value1 message", {}},
      {L"attrib1={value1} attrib2={value2 message", false, L"attrib2={value2 message", {{L"attrib1", L"value1"}}},
      {L"priority ={0}  message", true, L"priority ={0}  message", {}},
      {L"priority= {0}  message", true, L"priority= {0}  message", {}},
      {L"priority={1} x = 5", true, L"x = 5", {{L"priority", L"1"}}},
      {L"priority={1} x = 5  y= 3    z =8", true, L"x = 5  y= 3    z =8", {{L"priority", L"1"}}},
      // Empty keys and values, white space inside values, tabs and new lines
      // between attributes.
      {L"={x}\tk={}\n v={a b  c} text", true, L"text", {{L"", L"x"}, {L"k", L""}, {L"v", L"a b  c"}}},
      // The first occurrence of a key wins.
      {L"a={1} a={2} b={3}", true, L"", {{L"a", L"1"}, {L"b", L"3"}}},
      // Values end at the first '}', so a '{' inside is ordinary; what follows
      // a value directly starts the next key.
      {L"a={x{y}} rest", true, L"} rest", {{L"a", L"x{y"}}},
      {L"a={1}b={2} tail", true, L"tail", {{L"a", L"1"}, {L"b", L"2"}}},
      // The message keeps its own inner and trailing spaces.
      {L"   ", true, L"", {}},
      {L"", true, L"", {}},
      {L"  word", true, L"word", {}},
      {L"p={1}   spaced   out  ", true, L"spaced   out  ", {{L"p", L"1"}}},
      // A bare '=' at the end, or "=" followed by something else, ends the attributes.
      {L"p={1} key=", true, L"key=", {{L"p", L"1"}}},
      {L"p={1} key=value", true, L"key=value", {{L"p", L"1"}}},
      {L"p={", false, L"p={", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.input);
    CStringParser parser;
    EXPECT_EQ(parser.parse(c.input), c.result);
    EXPECT_EQ(std::wstring(parser.message().c_str()), c.message);
    EXPECT_EQ(attributesOf(parser), c.attributes);
  }
  // Keys are case-sensitive; a missing key is empty.
  CStringParser parser;
  ASSERT_TRUE(parser.parse(L"a={1} b={3}"));
  EXPECT_EQ(parser.attribute(L"b"), OdString(L"3"));
  EXPECT_EQ(parser.attribute(L"B"), OdString());
  EXPECT_EQ(parser.attribute(L"missing"), OdString());
}

TEST(CStringParser, ArbitraryInputNeverLosesText) {
  // Whatever the input, the message is a suffix of it and every attribute's
  // "key={value}" appears in the part before the message.
  std::mt19937 rng(5);
  const std::wstring alphabet = L"ab ={}\t\n=}{x\u00e9";
  std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
  std::uniform_int_distribution<int> length(0, 24);
  for (int n = 0; n < 20000; ++n) {
    std::wstring text;
    for (int i = length(rng); i > 0; --i) text.push_back(alphabet[pick(rng)]);
    CStringParser parser;
    const bool ok = parser.parse(OdString(text));
    const std::wstring message = parser.message().c_str();
    ASSERT_LE(message.size(), text.size());
    ASSERT_EQ(text.compare(text.size() - message.size(), message.size(), message), 0) << n;
    const std::wstring head = text.substr(0, text.size() - message.size());
    for (const auto& [key, value] : parser.attributes()) {
      EXPECT_NE(head.find(std::wstring(key.c_str()) + L"={" + value.c_str() + L"}"), std::wstring::npos);
    }
    if (!ok) {
      EXPECT_NE(message.find(L"={"), std::wstring::npos);
    }
  }
}
