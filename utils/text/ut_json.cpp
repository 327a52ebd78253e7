#include <ut/ut_json.h>

#include <limits>
#include <string>

namespace ut {

namespace {

OdString decorated(OdString message, const Context& context, const OdString& key) {
  if (!context.text().isEmpty()) message += OdString().format(L"\nContext:\t%ls ", context.text().c_str());
  if (!key.isEmpty()) message += OdString().format(L"\njson key:\t\"%ls\"", key.c_str());
  return message;
}

[[noreturn]] void throwOutOfRange(const JsonValue& value, const wchar_t* target, const Context& context,
                                  const OdString& key) {
  const OdString text = OdString::fromUtf8(value.dump());
  throw JsonParseError(
      decorated(OdString().format(L"Json integer %ls is out of the range of %ls", text.c_str(), target), context, key));
}

// The value of an "int" member as a 64-bit number; unsigned literals above
// the signed range are refused rather than wrapped.
std::int64_t int64Of(const JsonValue& value, const Context& context, const OdString& key) {
  if (value.is_number_unsigned()) {
    const auto u = value.get<std::uint64_t>();
    if (u > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
      throwOutOfRange(value, L"int64", context, key);
    }
    return static_cast<std::int64_t>(u);
  }
  return value.get<std::int64_t>();
}

int intOf(const JsonValue& value, const Context& context, const OdString& key) {
  const std::int64_t v = int64Of(value, context, key);
  if (v < std::numeric_limits<int>::min() || v > std::numeric_limits<int>::max()) {
    throwOutOfRange(value, L"int", context, key);
  }
  return static_cast<int>(v);
}

const JsonValue& typedValue(const JsonObject& object, const OdString& key, const Context& context, EJsonType type) {
  const JsonValue& value = getValue(object, key, context);
  checkType(value, type, context, key);
  return value;
}

}  // namespace

Context Context::within(const OdString& key) const {
  if (m_text.isEmpty()) return Context(key);
  OdString text = m_text;
  text += L'/';
  text += key.c_str();
  return Context(text);
}

EJsonType jsonType(const JsonValue& value) noexcept {
  switch (value.type()) {
    case JsonValue::value_t::object:
      return eJsonObject;
    case JsonValue::value_t::array:
      return eJsonArray;
    case JsonValue::value_t::string:
      return eJsonString;
    case JsonValue::value_t::boolean:
      return eJsonBool;
    case JsonValue::value_t::number_integer:
    case JsonValue::value_t::number_unsigned:
      return eJsonInt;
    case JsonValue::value_t::number_float:
      return eJsonReal;
    default:
      return eJsonNull;  // null, discarded and binary values hold nothing readable
  }
}

OdString toString(EJsonType type) {
  switch (type) {
    case eJsonObject:
      return L"object";
    case eJsonArray:
      return L"array";
    case eJsonString:
      return L"string";
    case eJsonBool:
      return L"bool";
    case eJsonInt:
      return L"int";
    case eJsonReal:
      return L"real";
    case eJsonNull:
      return L"null";
  }
  return L"unknown_type";
}

bool isType(const JsonValue& value, EJsonType type) noexcept { return jsonType(value) == type; }

void checkType(const JsonValue& value, EJsonType type, const Context& context, const OdString& key) {
  const EJsonType found = jsonType(value);
  if (found == type) return;
  throw JsonParseError(decorated(OdString().format(L"Error:\tExpected json type '%ls', found '%ls'",
                                                   toString(type).c_str(), toString(found).c_str()),
                                 context, key));
}

const JsonValue& getValue(const JsonObject& object, const OdString& key, const Context& context) {
  const auto it = object.find(key.toUtf8());
  if (it == object.end()) {
    throw JsonParseError(decorated(OdString().format(L"Unable to find json key '%ls'", key.c_str()), context, key));
  }
  return it->second;
}

const JsonObject& getObjectValue(const JsonObject& object, const OdString& key, const Context& context) {
  return typedValue(object, key, context, eJsonObject).get_ref<const JsonObject&>();
}

const JsonArray& getArrayValue(const JsonObject& object, const OdString& key, const Context& context) {
  return typedValue(object, key, context, eJsonArray).get_ref<const JsonArray&>();
}

OdString getStringValue(const JsonObject& object, const OdString& key, const Context& context) {
  return OdString::fromUtf8(typedValue(object, key, context, eJsonString).get_ref<const std::string&>());
}

int getIntValue(const JsonObject& object, const OdString& key, const Context& context) {
  return intOf(typedValue(object, key, context, eJsonInt), context, key);
}

std::int64_t getInt64Value(const JsonObject& object, const OdString& key, const Context& context) {
  return int64Of(typedValue(object, key, context, eJsonInt), context, key);
}

bool getBoolValue(const JsonObject& object, const OdString& key, const Context& context) {
  return typedValue(object, key, context, eJsonBool).get<bool>();
}

double getDoubleValue(const JsonObject& object, const OdString& key, const Context& context) {
  return typedValue(object, key, context, eJsonReal).get<double>();
}

boost::any getAnyValue(const JsonObject& object, const OdString& key, const Context& context) {
  const JsonValue& value = getValue(object, key, context);
  switch (jsonType(value)) {
    case eJsonBool:
      return boost::any(value.get<bool>());
    case eJsonInt:
      return boost::any(intOf(value, context, key));
    case eJsonReal:
      return boost::any(value.get<double>());
    case eJsonString:
      return boost::any(std::wstring(OdString::fromUtf8(value.get_ref<const std::string&>()).c_str()));
    default:
      break;
  }
  // The one message that carries neither the context nor the key.
  throw JsonParseError(
      OdString().format(L"Expected bool/int/double/string type but found %ls", toString(jsonType(value)).c_str()));
}

bool parseJson(std::string_view text, JsonValue& value) {
  JsonValue parsed = JsonValue::parse(text, nullptr, false);
  if (parsed.is_discarded()) return false;
  value = std::move(parsed);
  return true;
}

}  // namespace ut
