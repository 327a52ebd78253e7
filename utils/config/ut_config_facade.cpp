// The configuration facade: routing of entries and the typed reads and writes.

#include "ut_config_facade.h"

#include <ut/ut_profile.h>
#include <ut/ut_regstore.h>

#include "Ge/GePoint2d.h"
#include "Ge/GePoint3d.h"

#include <wx/gdicmn.h>
#include <wx/log.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string_view>
#include <string>
#include <system_error>

namespace ut {

namespace facade {

namespace {

// The key of each tree group relative to the current profile; null for the
// groups served by the wxConfigBase. Group 13 is the whole profiles tree.
constexpr std::array<const wchar_t*, kCfgGroupCount> kTreePaths = {{
    nullptr,
    nullptr,
    nullptr,
    L"",  // 0-3
    nullptr,
    nullptr,
    L"Config/",
    L"Dialogs/",  // 4-7
    nullptr,
    nullptr,
    L"Menus/",
    L"MLeader/",  // 8-11
    L"Config/Plot/",
    L"",  // 12-13
    L"Project Settings/",
    nullptr,  // 14-15
    L"Recent Paths/",
    nullptr,
    nullptr,
    nullptr,
    nullptr,  // 16-20
    L"Startup/",
    L"StatusBar/",
    L"Config/Tablet/",
    nullptr,  // 21-24
    L"Toolbars/",
    L"TPSettings/",
    nullptr,  // 25-27
    L"Windows/",
    L"Worksets/",
    L"Quad/",
    L"Properties Bar/",
    L"3dMouseMenu/",  // 28-32
    L"HotkeyAssistantContext/",
    L"Map Connections/",
    nullptr,  // 33-35
    L"Layers Panel/",
    L"Drawing Recovery/",
    L"Ribbon Panel/",
    L"Data Collection/",  // 36-39
}};

// Splits "a/b/x" into the key path "a/b/" and the name "x".
void splitEntry(const OdString& entry, OdString& keys, OdString& name) {
  const int slash = entry.reverseFind(L'/');
  keys = slash < 0 ? OdString() : entry.left(slash + 1);
  name = slash < 0 ? entry : entry.mid(slash + 1);
}

bool fitsDword(long value) {
  return value >= static_cast<long>(std::numeric_limits<std::int32_t>::min()) &&
         value <= static_cast<long>(std::numeric_limits<std::uint32_t>::max());
}

}  // namespace

bool validGroup(ECfgGroup g) {
  if (static_cast<int>(g) >= 0 && static_cast<int>(g) < kCfgGroupCount) return true;
  wxLogError(L"Unknown configuration group (%d)", static_cast<int>(g));
  return false;
}

const wchar_t* treePath(ECfgGroup g) {
  const int i = static_cast<int>(g);
  return i >= 0 && i < kCfgGroupCount ? kTreePaths[static_cast<std::size_t>(i)] : nullptr;
}

bool isTreeGroup(ECfgGroup g) { return treePath(g) != nullptr; }

OdString leafName(const OdString& path) {
  OdString p = path;
  p.trimRight(L'/');
  const int slash = p.reverseFind(L'/');
  return slash < 0 ? p : p.mid(slash + 1);
}

ConfigNodePtr descend(ConfigNodePtr node, const OdString& relativeKeyPath, bool create) {
  int start = 0;
  while (node && start < relativeKeyPath.getLength()) {
    int slash = relativeKeyPath.find(L'/', start);
    if (slash < 0) slash = relativeKeyPath.getLength();
    const OdString level = relativeKeyPath.mid(start, slash - start);
    start = slash + 1;
    if (level.isEmpty()) continue;
    ConfigNodePtr child = node->childAt(level + L"/");
    if (!(child && child->type() != ConfigValBase::kNone && child->isContainerNode())) {
      if (!create) return nullptr;
      child = ConfigNode::createNode(node->path() + level + L"/");
      if (!node->addChild(child)) return nullptr;
    }
    node = child;
  }
  return node;
}

ConfigNodePtr parentOf(const ConfigNodePtr& node) {
  ProfileManagerBase* manager = Config::installedProfileManager();
  if (!manager || !node) return nullptr;
  OdString path = node->path();
  path.trimRight(L'/');
  const int slash = path.reverseFind(L'/');
  const ConfigNodePtr root = manager->getProfileNode(OdString(), false);
  if (!root || path.isEmpty()) return nullptr;
  return slash < 0 ? root : root->childAt(path.left(slash + 1));
}

wxString keyPath(const OdString& configKeyPath) {
  wxString path(configKeyPath.c_str());
  while (path.length() > 1 && path.EndsWith(L"/")) path.RemoveLast();
  return path;
}

namespace {

// Whether an entry path has a level "." or "..": such a path is refused
// rather than read as a step in place or up, out of the group it names.
bool hasRelativeStep(const OdString& path) {
  const std::wstring_view p(path.c_str());
  std::size_t start = 0;
  while (start <= p.size()) {
    std::size_t end = p.find(L'/', start);
    if (end == std::wstring_view::npos) end = p.size();
    const std::wstring_view level = p.substr(start, end - start);
    if (level == L"." || level == L"..") return true;
    start = end + 1;
  }
  return false;
}

}  // namespace

Route routeEntry(ECfgGroup g, const OdString& entry, bool create) {
  Route route;
  if (!validGroup(g) || hasRelativeStep(entry)) return route;
  route.ok = true;
  if (isTreeGroup(g)) {
    route.tree = true;
    route.name = entry;
    route.node = Config::getIfProfileNodeParent(route.name, g, create);
    return route;
  }
  const OdString group = Config::regPath(g, false);
  if (group.isEmpty()) {
    route.ok = false;
    return route;
  }
  route.path = wxString((group + entry).c_str());
  return route;
}

Route routePath(const OdString& path, bool create) {
  Route route;
  if (path.isEmpty() || path.getAt(path.getLength() - 1) == L'/' || hasRelativeStep(path)) return route;
  route.ok = true;
  const OdString profiles = Config::profilesRoot(eCfgPathConfig);
  if (path.getLength() > profiles.getLength() && path.left(profiles.getLength()).iCompare(profiles) == 0) {
    route.tree = true;
    OdString keys;
    splitEntry(path.mid(profiles.getLength()), keys, route.name);
    route.node = descend(Config::profileManager().getProfileNode(OdString(), false), keys, create);
    return route;
  }
  route.path = wxString(path.c_str());
  return route;
}

ConfigNodePtr valueNode(const Route& route) {
  if (!route.ok || !route.tree || !route.node || route.name.isEmpty()) return nullptr;
  ConfigNodePtr child = route.node->childAt(route.name);
  if (!child || child->type() == ConfigValBase::kNone || child->isContainerNode()) return nullptr;
  return child;
}

namespace {

// The value node an entry is written to: the existing one, or a new one
// added to its key.
ConfigNodePtr writableNode(const Route& route) {
  if (!route.ok || !route.node || route.name.isEmpty() || route.name.find(L'/') >= 0) return nullptr;
  ConfigNodePtr child = valueNode(route);
  if (child) return child;
  child = ConfigNode::createNode(route.node->path() + route.name);
  return route.node->addChild(child) ? child : nullptr;
}

}  // namespace

bool writeNumber(const Route& route, long value) {
  if (!route.ok) return false;
  if (route.tree) {
    if (!fitsDword(value)) return false;
    const ConfigNodePtr node = writableNode(route);
    return node && node->setULong(static_cast<unsigned long>(static_cast<std::uint32_t>(value)));
  }
  return Config::appConfig().Write(route.path, value);
}

bool writeText(const Route& route, const OdString& value) {
  if (!route.ok) return false;
  if (route.tree) {
    const ConfigNodePtr node = writableNode(route);
    return node && node->setString(value.c_str());
  }
  return Config::appConfig().Write(route.path, wxString(value.c_str()));
}

bool readNumber(const Route& route, long& value) {
  if (!route.ok) return false;
  if (route.tree) {
    const ConfigNodePtr node = valueNode(route);
    unsigned long number = 0;
    if (!node || !node->getULong(number)) return false;
    value = static_cast<long>(static_cast<std::int32_t>(static_cast<std::uint32_t>(number)));
    return true;
  }
  long number = 0;
  if (!Config::appConfig().Read(route.path, &number)) return false;
  value = number;
  return true;
}

bool readText(const Route& route, OdString& value) {
  if (!route.ok) return false;
  if (route.tree) {
    const ConfigNodePtr node = valueNode(route);
    return node && node->getString(value);
  }
  wxString text;
  if (!Config::appConfig().Read(route.path, &text)) return false;
  value = OdString(text.wc_str());
  return true;
}

}  // namespace facade

bool isProfileGroup(ECfgGroup group) { return facade::isTreeGroup(group) && group != eCfgProfiles; }

using namespace facade;

namespace {

// The ASCII text of a stored value, for number parsing.
std::string narrow(const OdString& text) {
  std::string out;
  out.reserve(static_cast<std::size_t>(text.getLength()));
  for (int i = 0; i < text.getLength(); ++i) {
    const wchar_t c = text.getAt(i);
    if (c > 0x7f) return std::string();
    out.push_back(static_cast<char>(c));
  }
  return out;
}

// Parses exactly `count` comma-separated numbers (blanks around them allowed).
template <typename T, std::size_t N>
bool parseList(const OdString& text, std::array<T, N>& out) {
  const std::string s = narrow(text);
  if (s.empty()) return false;
  std::array<T, N> values{};
  const char* p = s.data();
  const char* const end = s.data() + s.size();
  for (std::size_t i = 0; i < N; ++i) {
    while (p < end && *p == ' ') ++p;
    if (p < end && *p == '+') ++p;
    const auto [next, ec] = std::from_chars(p, end, values[i]);
    if (ec != std::errc() || next == p) return false;
    p = next;
    while (p < end && *p == ' ') ++p;
    if (i + 1 < N) {
      if (p == end || *p != ',') return false;
      ++p;
    }
  }
  if (p != end) return false;
  out = values;
  return true;
}

template <typename T, std::size_t N>
bool readList(ECfgGroup g, const OdString& entry, std::array<T, N>& out) {
  OdString text;
  return readText(routeEntry(g, entry, false), text) && parseList(text, out);
}

// The shortest text that reads back as exactly the same double.
OdString doubleText(double value) {
  std::array<char, 32> buffer{};
  const auto [end, ec] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  if (ec != std::errc()) return OdString();
  return OdString::fromUtf8(std::string_view(buffer.data(), static_cast<std::size_t>(end - buffer.data())));
}

// "%g" in the C locale whatever the process locale is.
OdString gText(double value) {
  std::array<char, 32> buffer{};
  const auto [end, ec] =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::general, 6);
  if (ec != std::errc()) return OdString();
  return OdString::fromUtf8(std::string_view(buffer.data(), static_cast<std::size_t>(end - buffer.data())));
}

bool writeList(ECfgGroup g, const OdString& entry, std::initializer_list<long> values) {
  OdString text;
  for (const long v : values) {
    if (v < std::numeric_limits<int>::min() || v > std::numeric_limits<int>::max()) return false;
    if (!text.isEmpty()) text += L",";
    text += OdString().format(L"%d", static_cast<int>(v));
  }
  return writeText(routeEntry(g, entry, true), text);
}

bool writeGList(ECfgGroup g, const OdString& entry, std::initializer_list<double> values) {
  OdString text;
  for (const double v : values) {
    if (!text.isEmpty()) text += L",";
    text += gText(v);
  }
  return writeText(routeEntry(g, entry, true), text);
}

bool parseDouble(const OdString& text, double& value) {
  std::array<double, 1> one{};
  if (!parseList(text, one)) return false;
  value = one[0];
  return true;
}

}  // namespace

// --- Reading by group --------------------------------------------------------

bool Config::read(ECfgGroup g, const OdString& entry, bool& value) {
  long number = 0;
  if (!readNumber(routeEntry(g, entry, false), number)) return false;
  value = number != 0;
  return true;
}

bool Config::read(ECfgGroup g, const OdString& entry, short& value) {
  long number = 0;
  if (!readNumber(routeEntry(g, entry, false), number)) return false;
  if (number < std::numeric_limits<short>::min() || number > std::numeric_limits<short>::max()) return false;
  value = static_cast<short>(number);
  return true;
}

bool Config::read(ECfgGroup g, const OdString& entry, long& value) {
  return readNumber(routeEntry(g, entry, false), value);
}

bool Config::read(ECfgGroup g, const OdString& entry, OdString& value) {
  return readText(routeEntry(g, entry, false), value);
}

bool Config::read(ECfgGroup g, const OdString& entry, double& value) {
  OdString text;
  return readText(routeEntry(g, entry, false), text) && parseDouble(text, value);
}

bool Config::read(ECfgGroup g, const OdString& entry, tagPOINT& value) {
  std::array<long, 2> v{};
  if (!readList(g, entry, v)) return false;
  value.x = v[0];
  value.y = v[1];
  return true;
}

bool Config::read(ECfgGroup g, const OdString& entry, tagRECT& value) {
  std::array<long, 4> v{};
  if (!readList(g, entry, v)) return false;
  value.left = v[0];
  value.top = v[1];
  value.right = v[2];
  value.bottom = v[3];
  return true;
}

bool Config::read(ECfgGroup g, const OdString& entry, wxRect& value) {
  std::array<int, 4> v{};
  if (!readList(g, entry, v)) return false;
  value = wxRect(v[0], v[1], v[2], v[3]);
  return true;
}

bool Config::read(ECfgGroup g, const OdString& entry, wxPoint& value) {
  std::array<int, 2> v{};
  if (!readList(g, entry, v)) return false;
  value = wxPoint(v[0], v[1]);
  return true;
}

bool Config::read(ECfgGroup g, const OdString& entry, wxSize& value) {
  std::array<int, 2> v{};
  if (!readList(g, entry, v)) return false;
  value = wxSize(v[0], v[1]);
  return true;
}

bool Config::read(ECfgGroup g, const OdString& entry, OdGePoint2d& value) {
  std::array<double, 2> v{};
  if (!readList(g, entry, v)) return false;
  value = OdGePoint2d(v[0], v[1]);
  return true;
}

bool Config::read(ECfgGroup g, const OdString& entry, OdGePoint3d& value) {
  std::array<double, 3> v{};
  if (!readList(g, entry, v)) return false;
  value = OdGePoint3d(v[0], v[1], v[2]);
  return true;
}

// --- Reading by full path ----------------------------------------------------

bool Config::read(const OdString& path, long& value) { return readNumber(routePath(path, false), value); }

bool Config::read(const OdString& path, double& value) {
  OdString text;
  return readText(routePath(path, false), text) && parseDouble(text, value);
}

bool Config::read(const OdString& path, OdString& value) { return readText(routePath(path, false), value); }

// --- Writing by group --------------------------------------------------------

bool Config::writeBool(ECfgGroup g, const OdString& entry, bool value) {
  return writeNumber(routeEntry(g, entry, true), value ? 1 : 0);
}

bool Config::writeShort(ECfgGroup g, const OdString& entry, short value) {
  return writeNumber(routeEntry(g, entry, true), value);
}

bool Config::writeLong(ECfgGroup g, const OdString& entry, long value) {
  return writeNumber(routeEntry(g, entry, true), value);
}

bool Config::writeString(ECfgGroup g, const OdString& entry, const OdString& value) {
  return writeText(routeEntry(g, entry, true), value);
}

bool Config::writeDouble(ECfgGroup g, const OdString& entry, double value) {
  const OdString text = doubleText(value);
  return !text.isEmpty() && writeText(routeEntry(g, entry, true), text);
}

bool Config::writePoint(ECfgGroup g, const OdString& entry, const tagPOINT& value) {
  return writeList(g, entry, {value.x, value.y});
}

bool Config::writePoint(ECfgGroup g, const OdString& entry, const wxPoint& value) {
  return writeList(g, entry, {value.x, value.y});
}

bool Config::writePoint(ECfgGroup g, const OdString& entry, const OdGePoint2d& value) {
  return writeGList(g, entry, {value.x, value.y});
}

bool Config::writePoint(ECfgGroup g, const OdString& entry, const OdGePoint3d& value) {
  return writeGList(g, entry, {value.x, value.y, value.z});
}

bool Config::writeRect(ECfgGroup g, const OdString& entry, const tagRECT& value) {
  return writeList(g, entry, {value.left, value.top, value.right, value.bottom});
}

bool Config::writeRect(ECfgGroup g, const OdString& entry, const wxRect& value) {
  return writeList(g, entry, {value.x, value.y, value.width, value.height});
}

bool Config::writeSize(ECfgGroup g, const OdString& entry, const wxSize& value) {
  return writeList(g, entry, {value.x, value.y});
}

// --- Writing by full path ----------------------------------------------------

bool Config::writeLong(const OdString& path, long value) { return writeNumber(routePath(path, true), value); }

bool Config::writeDouble(const OdString& path, double value) {
  const OdString text = doubleText(value);
  return !text.isEmpty() && writeText(routePath(path, true), text);
}

bool Config::writeString(const OdString& path, const OdString& value) {
  return writeText(routePath(path, true), value);
}

// --- wxString access ---------------------------------------------------------

wxString getString(ECfgGroup g, const wxString& entry) {
  OdString value;
  if (!Config::read(g, OdString(entry.wc_str()), value)) return wxString();
  return wxString(value.c_str());
}

bool setString(ECfgGroup g, const wxString& entry, const wxString& value) {
  return Config::writeString(g, OdString(entry.wc_str()), OdString(value.wc_str()));
}

}  // namespace ut
