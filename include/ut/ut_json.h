#pragma once

// Typed access to the members of a parsed JSON document.
//
// A reader of a configuration or reply file asks for a member by key and the
// type it expects, and gets either the value or one JsonParseError whose
// message says what was expected, what was found, under which key and where
// in the document (the Context).
//
// Value model: nlohmann::json (JsonValue). Its object is a map ordered by
// key (JsonObject), its array a vector of values (JsonArray); keys and
// strings are UTF-8 there and OdString (wide) here. Every integer literal,
// signed or unsigned, has the type "int"; a literal with a fraction or an
// exponent is "real".
//
// Messages. Decorated ones are followed by "\nContext:\t<context> " (with
// its trailing blank) when the context is not empty, then by
// "\njson key:\t\"<key>\"" when the key is not empty.
//  - a missing key (decorated):     "Unable to find json key '<key>'"
//  - another type (decorated):      "Error:\tExpected json type '<expected>', found '<found>'"
//  - an integer too large for the
//    result type (decorated):       "Json integer <value> is out of the range of <int|int64>"
//  - getAnyValue on an object, array
//    or null (bare, not decorated): "Expected bool/int/double/string type but found <found>"
// The functions hold no state and may be called from any thread.

#include <ut/ut_export.h>

#include "OdString.h"

#include <boost/any.hpp>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <string_view>

namespace ut {

using JsonValue = nlohmann::json;
using JsonObject = JsonValue::object_t;
using JsonArray = JsonValue::array_t;

// JSON value types by number, as the messages name them (toString).
enum EJsonType : int {
  eJsonObject = 0,  // "object"
  eJsonArray = 1,   // "array"
  eJsonString = 2,  // "string"
  eJsonBool = 3,    // "bool"
  eJsonInt = 4,     // "int"
  eJsonReal = 5,    // "real"
  eJsonNull = 6,    // "null"
};

// The error of every accessor below: one message.
class UT_EXPORT JsonParseError {
 public:
  explicit JsonParseError(const OdString& message) : m_message(message) {}

  const OdString& message() const noexcept { return m_message; }

 private:
  OdString m_message;
};

// Where in the document an access happens, as one line of text ("reply of
// the token request", "tsb.json/apps[2]"). An empty context adds nothing to
// the messages.
class UT_EXPORT Context {
 public:
  Context() = default;
  explicit Context(const OdString& text) : m_text(text) {}

  const OdString& text() const noexcept { return m_text; }
  // This context followed by "/" and a member's key: the context of an
  // access inside that member.
  Context within(const OdString& key) const;

 private:
  OdString m_text;
};

// The type number of a value (0 to 6).
UT_EXPORT EJsonType jsonType(const JsonValue& value) noexcept;
// The name of a type number; "unknown_type" for any other number.
UT_EXPORT OdString toString(EJsonType type);
// Exact type test.
UT_EXPORT bool isType(const JsonValue& value, EJsonType type) noexcept;
// Returns when the value has the type, else throws the "Expected json type"
// message decorated with the context and the key.
UT_EXPORT void checkType(const JsonValue& value, EJsonType type, const Context& context, const OdString& key);

// The member under key, of any type; throws when it is missing.
UT_EXPORT const JsonValue& getValue(const JsonObject& object, const OdString& key, const Context& context);
// The member under key, which must be of the type named; otherwise throws.
UT_EXPORT const JsonObject& getObjectValue(const JsonObject& object, const OdString& key, const Context& context);
UT_EXPORT const JsonArray& getArrayValue(const JsonObject& object, const OdString& key, const Context& context);
UT_EXPORT OdString getStringValue(const JsonObject& object, const OdString& key, const Context& context);
UT_EXPORT int getIntValue(const JsonObject& object, const OdString& key, const Context& context);
UT_EXPORT std::int64_t getInt64Value(const JsonObject& object, const OdString& key, const Context& context);
UT_EXPORT bool getBoolValue(const JsonObject& object, const OdString& key, const Context& context);
// Only a "real" member: an integer literal is refused on purpose, so that a
// file that writes 5 where 5.0 is meant is noticed.
UT_EXPORT double getDoubleValue(const JsonObject& object, const OdString& key, const Context& context);
// A bool, int, real or string member as bool, int, double or std::wstring;
// an object, array or null member throws the bare "Expected bool/int/..."
// message.
UT_EXPORT boost::any getAnyValue(const JsonObject& object, const OdString& key, const Context& context);

// Parses a whole UTF-8 document. False, with value untouched, for text that
// is not one JSON value.
UT_EXPORT bool parseJson(std::string_view text, JsonValue& value);

}  // namespace ut
