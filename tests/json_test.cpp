#include <gtest/gtest.h>

#include <ut/ut_json.h>

#include <cstdint>
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
template <typename F>
std::wstring messageOf(F&& call) {
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
  EXPECT_EQ(jsonType(o.at("inner")), eJsonObject);
  EXPECT_EQ(jsonType(o.at("list")), eJsonArray);
  EXPECT_EQ(jsonType(o.at("name")), eJsonString);
  EXPECT_EQ(jsonType(o.at("on")), eJsonBool);
  EXPECT_EQ(jsonType(o.at("count")), eJsonInt);
  EXPECT_EQ(jsonType(o.at("negative")), eJsonInt);
  EXPECT_EQ(jsonType(o.at("huge")), eJsonInt);  // unsigned literals are "int" too
  EXPECT_EQ(jsonType(o.at("ratio")), eJsonReal);
  EXPECT_EQ(jsonType(o.at("exp")), eJsonReal);  // an exponent makes a real
  EXPECT_EQ(jsonType(o.at("none")), eJsonNull);

  const wchar_t* const names[] = {L"object", L"array", L"string", L"bool", L"int", L"real", L"null"};
  for (int t = 0; t <= 6; ++t) EXPECT_STREQ(toString(static_cast<EJsonType>(t)).c_str(), names[t]);
  EXPECT_STREQ(toString(static_cast<EJsonType>(7)).c_str(), L"unknown_type");
  EXPECT_STREQ(toString(static_cast<EJsonType>(-1)).c_str(), L"unknown_type");

  EXPECT_TRUE(isType(o.at("count"), eJsonInt));
  EXPECT_FALSE(isType(o.at("count"), eJsonReal));
  EXPECT_FALSE(isType(o.at("ratio"), eJsonInt));
}

TEST(JsonGetters, ReadTheExpectedTypes) {
  const JsonObject o = parsedObject(kSample);
  const Context ctx(L"sample");
  EXPECT_STREQ(getStringValue(o, L"name", ctx).c_str(), L"Grüße");
  EXPECT_EQ(getIntValue(o, L"count", ctx), 5);
  EXPECT_EQ(getIntValue(o, L"negative", ctx), -7);
  EXPECT_EQ(getInt64Value(o, L"big", ctx), 9000000000LL);
  EXPECT_EQ(getInt64Value(o, L"negative", ctx), -7);
  EXPECT_TRUE(getBoolValue(o, L"on", ctx));
  EXPECT_DOUBLE_EQ(getDoubleValue(o, L"ratio", ctx), 2.5);
  EXPECT_DOUBLE_EQ(getDoubleValue(o, L"exp", ctx), 1000.0);
  EXPECT_EQ(getArrayValue(o, L"list", ctx).size(), 2u);
  const JsonObject& inner = getObjectValue(o, L"inner", ctx);
  EXPECT_EQ(getIntValue(inner, L"x", ctx.within(L"inner")), 1);
  EXPECT_TRUE(getValue(o, L"none", ctx).is_null());
}

TEST(JsonGetters, KeysAreExactAndUnicode) {
  const JsonObject o = parsedObject(R"({"Key": 1, "ключ": "v"})");
  EXPECT_STREQ(getStringValue(o, L"ключ", Context()).c_str(), L"v");
  EXPECT_NE(messageOf([&] { getIntValue(o, L"key", Context()); }), L"");
}

TEST(JsonErrors, MessagesAreDecoratedByteForByte) {
  const JsonObject o = parsedObject(kSample);
  EXPECT_EQ(messageOf([&] { getDoubleValue(o, L"count", Context(L"ctx")); }),
            L"Error:\tExpected json type 'real', found 'int'\nContext:\tctx \njson key:\t\"count\"");
  EXPECT_EQ(messageOf([&] { getIntValue(o, L"name", Context()); }),
            L"Error:\tExpected json type 'int', found 'string'\njson key:\t\"name\"");
  EXPECT_EQ(messageOf([&] { getValue(o, L"absent", Context(L"file a.json")); }),
            L"Unable to find json key 'absent'\nContext:\tfile a.json \njson key:\t\"absent\"");
  EXPECT_EQ(messageOf([&] { getAnyValue(o, L"list", Context()); }),
            L"Expected bool/int/double/string type but found array\njson key:\t\"list\"");
  EXPECT_EQ(messageOf([&] { getAnyValue(o, L"none", Context()); }),
            L"Expected bool/int/double/string type but found null\njson key:\t\"none\"");
  // checkType alone: no key, no context, nothing appended.
  EXPECT_EQ(messageOf([&] { checkType(o.at("on"), eJsonString, Context(), OdString()); }),
            L"Error:\tExpected json type 'string', found 'bool'");
  EXPECT_EQ(messageOf([&] { checkType(o.at("on"), eJsonBool, Context(L"x"), L"on"); }), L"");
}

TEST(JsonErrors, EveryTypedGetterRefusesOtherTypes) {
  const JsonObject o = parsedObject(kSample);
  const Context c;
  EXPECT_NE(messageOf([&] { getObjectValue(o, L"list", c); }), L"");
  EXPECT_NE(messageOf([&] { getArrayValue(o, L"inner", c); }), L"");
  EXPECT_NE(messageOf([&] { getStringValue(o, L"count", c); }), L"");
  EXPECT_NE(messageOf([&] { getInt64Value(o, L"ratio", c); }), L"");
  EXPECT_NE(messageOf([&] { getBoolValue(o, L"count", c); }), L"");
  EXPECT_NE(messageOf([&] { getDoubleValue(o, L"none", c); }), L"");
}

TEST(JsonErrors, IntegersOutOfRangeAreRefusedNotWrapped) {
  const JsonObject o = parsedObject(kSample);
  EXPECT_EQ(messageOf([&] { getIntValue(o, L"big", Context()); }),
            L"Json integer 9000000000 is out of the range of int\njson key:\t\"big\"");
  EXPECT_NE(messageOf([&] { getInt64Value(o, L"huge", Context()); }), L"");
  EXPECT_NE(messageOf([&] { getAnyValue(o, L"big", Context()); }), L"");

  const JsonObject edges = parsedObject(R"({"max": 2147483647, "min": -2147483648, "over": 2147483648})");
  EXPECT_EQ(getIntValue(edges, L"max", Context()), std::numeric_limits<int>::max());
  EXPECT_EQ(getIntValue(edges, L"min", Context()), std::numeric_limits<int>::min());
  EXPECT_NE(messageOf([&] { getIntValue(edges, L"over", Context()); }), L"");
}

TEST(JsonAny, WrapsByType) {
  const JsonObject o = parsedObject(kSample);
  EXPECT_EQ(boost::any_cast<bool>(getAnyValue(o, L"on", Context())), true);
  EXPECT_EQ(boost::any_cast<int>(getAnyValue(o, L"count", Context())), 5);
  EXPECT_DOUBLE_EQ(boost::any_cast<double>(getAnyValue(o, L"ratio", Context())), 2.5);
  EXPECT_EQ(boost::any_cast<std::wstring>(getAnyValue(o, L"name", Context())), L"Grüße");
}

TEST(JsonContext, NestsWithSlash) {
  EXPECT_STREQ(Context().within(L"a").text().c_str(), L"a");
  EXPECT_STREQ(Context(L"f.json").within(L"a").within(L"b").text().c_str(), L"f.json/a/b");
}

TEST(JsonParse, BadTextLeavesTheValueAlone) {
  JsonValue value = 42;
  EXPECT_FALSE(parseJson("{\"a\": ", value));
  EXPECT_FALSE(parseJson("", value));
  EXPECT_FALSE(parseJson("{} trailing", value));
  EXPECT_EQ(value, JsonValue(42));
  EXPECT_TRUE(parseJson("[1]", value));
  EXPECT_TRUE(value.is_array());
}

TEST(JsonParseError, CopiesAndMovesKeepTheMessage) {
  JsonParseError e(L"boom");
  JsonParseError copy = e;
  JsonParseError moved = std::move(copy);
  EXPECT_STREQ(moved.message().c_str(), L"boom");
  EXPECT_STREQ(e.message().c_str(), L"boom");
}
