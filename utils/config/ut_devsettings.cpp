#include <ut/ut_devsettings.h>

#include <map>
#include <utility>

namespace ut {

namespace {

std::map<OdString, std::function<bool()>>& settings() {
  static std::map<OdString, std::function<bool()>> table;
  return table;
}

}  // namespace

void DevSettings::registerSetting(const OdString& name, std::function<bool()> fn) { settings()[name] = std::move(fn); }

void DevSettings::unregisterSetting(const OdString& name) { settings().erase(name); }

bool DevSettings::getBoolValue(const OdString& name) {
  const auto it = settings().find(name);
  return it != settings().end() && it->second();
}

}  // namespace ut
