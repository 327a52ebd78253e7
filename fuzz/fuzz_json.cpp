// JSON access on arbitrary text: parseJson answers true or false and leaves
// the value untouched on false; on a parsed document every member of every
// object (to a bounded depth) is reached through the accessors. Each typed
// accessor returns for a member of its type and throws JsonParseError (never
// anything else) for any other type; the integer accessors throw only for
// numbers outside their range; getAnyValue throws exactly for objects, arrays
// and null; a missing key throws; no message is empty.

#include <ut/ut_json.h>

#include "fuzz_check.h"

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace {

constexpr int kMaxDepth = 32;

// Runs an accessor; true when it returned, false when it threw
// JsonParseError with a message. Any other exception escapes and is
// reported by the fuzzer.
template <typename F>
bool returns(F&& access) {
  try {
    access();
    return true;
  } catch (const ut::JsonParseError& e) {
    if (e.message().isEmpty()) __builtin_trap();
    return false;
  }
}

using ut::fuzz::check;

void visit(const ut::JsonValue& value, const ut::Context& context, int depth);

void visitMember(const ut::JsonObject& object, const std::string& utf8Key, const ut::JsonValue& member,
                 const ut::Context& context, int depth) {
  // A key holding U+0000 cannot be named through a C-string key.
  if (utf8Key.find('\0') != std::string::npos) return;
  const OdString key = OdString::fromUtf8(utf8Key);
  const ut::EJsonType type = ut::jsonType(member);
  check(&ut::getValue(object, key, context) == &member);
  check(ut::isType(member, type) && returns([&] { ut::checkType(member, type, context, key); }));

  check(returns([&] { ut::getObjectValue(object, key, context); }) == (type == ut::eJsonObject));
  check(returns([&] { ut::getArrayValue(object, key, context); }) == (type == ut::eJsonArray));
  check(returns([&] { ut::getStringValue(object, key, context); }) == (type == ut::eJsonString));
  check(returns([&] { ut::getBoolValue(object, key, context); }) == (type == ut::eJsonBool));
  check(returns([&] { ut::getDoubleValue(object, key, context); }) == (type == ut::eJsonReal));

  bool fitsInt = false;
  bool fitsInt64 = false;
  if (type == ut::eJsonInt) {
    if (member.is_number_unsigned()) {
      const auto u = member.get<std::uint64_t>();
      fitsInt64 = u <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
      fitsInt = u <= static_cast<std::uint64_t>(std::numeric_limits<int>::max());
    } else {
      const auto v = member.get<std::int64_t>();
      fitsInt64 = true;
      fitsInt = v >= std::numeric_limits<int>::min() && v <= std::numeric_limits<int>::max();
    }
  }
  int asInt = 0;
  std::int64_t asInt64 = 0;
  check(returns([&] { asInt = ut::getIntValue(object, key, context); }) == fitsInt);
  check(returns([&] { asInt64 = ut::getInt64Value(object, key, context); }) == fitsInt64);
  if (fitsInt && asInt != asInt64) __builtin_trap();

  const bool scalar =
      type == ut::eJsonBool || type == ut::eJsonReal || type == ut::eJsonString || (type == ut::eJsonInt && fitsInt);
  const bool anyReturns = returns([&] { ut::getAnyValue(object, key, context); });
  if (type == ut::eJsonInt) {
    check(anyReturns == fitsInt);
  } else {
    check(anyReturns == scalar);
  }

  // A key that is not there: the member's own key with a character added.
  if (object.find(utf8Key + "~") == object.end()) {
    check(!returns([&] { ut::getValue(object, key + L"~", context); }));
  }
  visit(member, context.within(key), depth + 1);
}

void visit(const ut::JsonValue& value, const ut::Context& context, int depth) {
  if (depth > kMaxDepth) return;
  check(ut::jsonType(value) >= ut::eJsonObject && ut::jsonType(value) <= ut::eJsonNull);
  check(ut::toString(ut::jsonType(value)) != L"unknown_type");
  if (value.is_object()) {
    const auto& object = value.get_ref<const ut::JsonObject&>();
    for (const auto& [key, member] : object) visitMember(object, key, member, context, depth);
  } else if (value.is_array()) {
    int index = 0;
    for (const auto& element : value.get_ref<const ut::JsonArray&>()) {
      visit(element, context.within(OdString(std::to_wstring(index++))), depth + 1);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  ut::JsonValue value = "untouched";
  if (!ut::parseJson(text, value)) {
    check(value == "untouched");
    return 0;
  }
  visit(value, ut::Context(), 0);
  return 0;
}
