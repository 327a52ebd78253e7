#include <gtest/gtest.h>

#include <ut/ut_json.h>

#include <functional>
#include <limits>
#include <string>

using namespace ut;

namespace {

JsonObject parsedObject(std::string_view text) {
  JsonValue value;
  EXPECT_TRUE(parseJson(text, value)) << text;
  EXPECT_TRUE(value.is_object()) << text;
  return value.is_object() ? value.get<JsonObject>() : JsonObject();
}

const char* const kSample = R"({
  "name": "Grüße", "count": 5, "big": 9000000000, "negative": -7, "huge": 18446744073709551615,
  "ratio": 2.5, "exp": 1e3, "on": true, "none": null, "list": [1, 2], "inner": {"x": 1}
})";

// The message of the JsonParseError a call throws; empty when it throws none.
std::wstring messageOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const JsonParseError& e) {
    return e.message().c_str();
  }
  return {};
}

}  // namespace

TEST(JsonTypes, NumbersAndNames) {
  const JsonObject o = parsedObject(kSample);
  const std::pair<const char*, EJsonType> members[] = {
      {"inner", eJsonObject}, {"list", eJsonArray},   {"name", eJsonString}, {"on", eJsonBool},
      {"count", eJsonInt},    {"negative", eJsonInt}, {"huge", eJsonInt},  // unsigned literals are "int" too
      {"ratio", eJsonReal},   {"exp", eJsonReal},                          // an exponent makes a real
      {"none", eJsonNull}};
  for (const auto& [key, type] : members) {
    EXPECT_EQ(jsonType(o.at(key)), type) << key;
    EXPECT_TRUE(isType(o.at(key), type)) << key;
    EXPECT_FALSE(isType(o.at(key), static_cast<EJsonType>((type + 1) % 7))) << key;
  }
  const wchar_t* const names[] = {L"object", L"array", L"string", L"bool", L"int", L"real", L"null"};
  for (int t = 0; t <= 6; ++t) EXPECT_STREQ(toString(static_cast<EJsonType>(t)).c_str(), names[t]);
  EXPECT_STREQ(toString(static_cast<EJsonType>(7)).c_str(), L"unknown_type");
}

TEST(JsonGetters, ReadTheExpectedTypes) {
  const JsonObject o = parsedObject(kSample);
  const Context ctx(L"sample");
  EXPECT_STREQ(getStringValue(o, L"name", ctx).c_str(), L"Grüße");
  EXPECT_EQ(getIntValue(o, L"count", ctx), 5);
  EXPECT_EQ(getInt64Value(o, L"big", ctx), 9000000000LL);
  EXPECT_TRUE(getBoolValue(o, L"on", ctx));
  EXPECT_DOUBLE_EQ(getDoubleValue(o, L"exp", ctx), 1000.0);
  EXPECT_EQ(getArrayValue(o, L"list", ctx).size(), 2u);
  EXPECT_EQ(getIntValue(getObjectValue(o, L"inner", ctx), L"x", ctx.within(L"inner")), 1);
  EXPECT_TRUE(getValue(o, L"none", ctx).is_null());
  EXPECT_EQ(boost::any_cast<bool>(getAnyValue(o, L"on", ctx)), true);
  EXPECT_EQ(boost::any_cast<int>(getAnyValue(o, L"count", ctx)), 5);
  EXPECT_DOUBLE_EQ(boost::any_cast<double>(getAnyValue(o, L"ratio", ctx)), 2.5);
  EXPECT_EQ(boost::any_cast<std::wstring>(getAnyValue(o, L"name", ctx)), L"Grüße");

  // Keys are matched exactly, in any script.
  const JsonObject keys = parsedObject(R"({"Key": 1, "ключ": "v"})");
  EXPECT_STREQ(getStringValue(keys, L"ключ", Context()).c_str(), L"v");
  EXPECT_EQ(messageOf([&] { getIntValue(keys, L"key", Context()); }),
            L"Unable to find json key 'key'\njson key:\t\"key\"");
  EXPECT_STREQ(Context(L"f.json").within(L"a").within(L"b").text().c_str(), L"f.json/a/b");
}

TEST(JsonErrors, MessagesByteForByte) {
  const JsonObject o = parsedObject(kSample);
  const JsonObject limits = parsedObject(R"({"max": 2147483647, "min": -2147483648, "over": 2147483648})");
  EXPECT_EQ(getIntValue(limits, L"max", Context()), std::numeric_limits<int>::max());
  EXPECT_EQ(getIntValue(limits, L"min", Context()), std::numeric_limits<int>::min());
  const Context c;
  const std::pair<std::function<void()>, std::wstring> cases[] = {
      // Integers out of range are refused, not wrapped.
      {[&] { getIntValue(limits, L"over", c); },
       L"Json integer 2147483648 is out of the range of int\njson key:\t\"over\""},
      {[&] { getAnyValue(limits, L"over", c); },
       L"Json integer 2147483648 is out of the range of int\njson key:\t\"over\""},
      {[&] { getInt64Value(o, L"huge", c); },
       L"Json integer 18446744073709551615 is out of the range of int64\njson key:\t\"huge\""},
      // Context first (with its trailing blank), then the key.
      {[&] { getDoubleValue(o, L"count", Context(L"ctx")); },
       L"Error:\tExpected json type 'real', found 'int'\nContext:\tctx \njson key:\t\"count\""},
      {[&] { getValue(o, L"absent", Context(L"file a.json")); },
       L"Unable to find json key 'absent'\nContext:\tfile a.json \njson key:\t\"absent\""},
      {[&] { getIntValue(o, L"name", c); }, L"Error:\tExpected json type 'int', found 'string'\njson key:\t\"name\""},
      {[&] { getObjectValue(o, L"list", c); },
       L"Error:\tExpected json type 'object', found 'array'\njson key:\t\"list\""},
      {[&] { getArrayValue(o, L"inner", c); },
       L"Error:\tExpected json type 'array', found 'object'\njson key:\t\"inner\""},
      {[&] { getStringValue(o, L"on", c); }, L"Error:\tExpected json type 'string', found 'bool'\njson key:\t\"on\""},
      {[&] { getInt64Value(o, L"ratio", c); }, L"Error:\tExpected json type 'int', found 'real'\njson key:\t\"ratio\""},
      {[&] { getBoolValue(o, L"count", c); }, L"Error:\tExpected json type 'bool', found 'int'\njson key:\t\"count\""},
      {[&] { getDoubleValue(o, L"none", c); }, L"Error:\tExpected json type 'real', found 'null'\njson key:\t\"none\""},
      // getAnyValue's own message carries neither context nor key.
      {[&] { getAnyValue(o, L"list", Context(L"ctx")); }, L"Expected bool/int/double/string type but found array"},
      {[&] { getAnyValue(o, L"none", c); }, L"Expected bool/int/double/string type but found null"},
      // checkType alone: nothing to append, and nothing thrown for the right type.
      {[&] { checkType(o.at("on"), eJsonString, c, OdString()); },
       L"Error:\tExpected json type 'string', found 'bool'"},
      {[&] { checkType(o.at("on"), eJsonBool, Context(L"x"), L"on"); }, L""},
  };
  for (const auto& [call, message] : cases) EXPECT_EQ(messageOf(call), message);
}

TEST(JsonParse, BadTextLeavesTheValueAlone) {
  JsonValue value = 42;
  for (const char* bad : {"{\"a\": ", "", "{} trailing"}) EXPECT_FALSE(parseJson(bad, value)) << bad;
  EXPECT_EQ(value, JsonValue(42));
  EXPECT_TRUE(parseJson("[1]", value) && value.is_array());
}
