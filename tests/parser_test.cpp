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

TEST(CStringParser, DocumentedPairs) {
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
  };
  for (const Case& c : cases) {
    CStringParser parser;
    EXPECT_EQ(parser.parse(c.input), c.result) << std::wstring(c.input).size();
    EXPECT_EQ(std::wstring(parser.message().c_str()), c.message);
    EXPECT_EQ(attributesOf(parser), c.attributes);
  }
}

TEST(CStringParser, KeysValuesAndWhiteSpace) {
  CStringParser parser;
  // Empty keys and values; white space inside values; tabs and new lines
  // between attributes.
  EXPECT_TRUE(parser.parse(L"={x}\tk={}\n v={a b  c} text"));
  EXPECT_EQ(parser.attribute(L""), OdString(L"x"));
  EXPECT_EQ(parser.attribute(L"k"), OdString());
  EXPECT_EQ(parser.attribute(L"v"), OdString(L"a b  c"));
  EXPECT_EQ(parser.message(), OdString(L"text"));
  EXPECT_EQ(parser.attributes().size(), 3u);

  // The first occurrence of a key wins.
  EXPECT_TRUE(parser.parse(L"a={1} a={2} b={3}"));
  EXPECT_EQ(parser.attribute(L"a"), OdString(L"1"));
  EXPECT_EQ(parser.attribute(L"b"), OdString(L"3"));
  EXPECT_EQ(parser.message(), OdString());

  // Values end at the first '}', so a '{' inside is ordinary; what follows a
  // value directly starts the next key.
  EXPECT_TRUE(parser.parse(L"a={x{y}} rest"));
  EXPECT_EQ(parser.attribute(L"a"), OdString(L"x{y"));
  EXPECT_EQ(parser.message(), OdString(L"} rest"));
  EXPECT_TRUE(parser.parse(L"a={1}b={2} tail"));
  EXPECT_EQ(parser.attribute(L"b"), OdString(L"2"));
  EXPECT_EQ(parser.message(), OdString(L"tail"));

  // Keys are case-sensitive; a missing key is empty.
  EXPECT_EQ(parser.attribute(L"B"), OdString());
  EXPECT_EQ(parser.attribute(L"missing"), OdString());
}

TEST(CStringParser, MessageKeepsItsOwnText) {
  CStringParser parser;
  EXPECT_TRUE(parser.parse(L"   "));
  EXPECT_EQ(parser.message(), OdString());
  EXPECT_TRUE(parser.parse(L""));
  EXPECT_TRUE(parser.attributes().empty());
  EXPECT_TRUE(parser.parse(L"  word"));
  EXPECT_EQ(parser.message(), OdString(L"word"));
  EXPECT_TRUE(parser.parse(L"p={1}   spaced   out  "));
  EXPECT_EQ(parser.message(), OdString(L"spaced   out  "));
  // A bare '=' at the end, or "=" followed by something else, ends the
  // attributes.
  EXPECT_TRUE(parser.parse(L"p={1} key="));
  EXPECT_EQ(parser.message(), OdString(L"key="));
  EXPECT_TRUE(parser.parse(L"p={1} key=value"));
  EXPECT_EQ(parser.message(), OdString(L"key=value"));
  EXPECT_EQ(parser.attribute(L"p"), OdString(L"1"));
  EXPECT_FALSE(parser.parse(L"p={"));
  EXPECT_EQ(parser.message(), OdString(L"p={"));
  EXPECT_TRUE(parser.attributes().empty());
}

TEST(CStringParser, ReparseAndInitForgetEarlierResults) {
  CStringParser parser;
  EXPECT_TRUE(parser.parse(L"a={1} old"));
  EXPECT_TRUE(parser.parse(L"b={2} new"));
  EXPECT_EQ(parser.attribute(L"a"), OdString());
  EXPECT_EQ(parser.message(), OdString(L"new"));

  CStringParser copy(parser);
  parser.init();
  EXPECT_TRUE(parser.attributes().empty());
  EXPECT_EQ(parser.message(), OdString());
  EXPECT_EQ(copy.attribute(L"b"), OdString(L"2"));
  EXPECT_EQ(copy.message(), OdString(L"new"));

  CStringParser moved(std::move(copy));
  EXPECT_EQ(moved.attribute(L"b"), OdString(L"2"));
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
