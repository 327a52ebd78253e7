#pragma once

// Named boolean switches for developers. A switch is not a stored value: its
// name is bound to a function that computes the answer each time it is asked,
// so a module can expose a live condition (an environment variable, a debug
// state) under a stable name and any other module can query it by name.
//
// One process-wide table, ordered by name; names are matched exactly (case
// matters). The table has no lock: register and unregister only while no
// other thread queries or changes it.

#include <ut/ut_export.h>

#include "OdString.h"

#include <functional>

namespace ut {

class UT_EXPORT DevSettings {
 public:
  // Binds a name to a function, replacing the function of a name present.
  static void registerSetting(const OdString& name, std::function<bool()> fn);
  // Removes a name; an unknown name is ignored.
  static void unregisterSetting(const OdString& name);
  // Calls the function bound to the name (never cached); false for a name
  // that is not registered. A name bound to an empty function throws
  // std::bad_function_call.
  static bool getBoolValue(const OdString& name);
};

}  // namespace ut
