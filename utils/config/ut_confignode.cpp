#include <ut/ut_confignode.h>

#include "ut_configtree.h"
#include "ut_platform.h"

#include <array>
#include <optional>
#include <string_view>

namespace ut {

namespace {

std::wstring_view view(const OdString& s) {
  return std::wstring_view(s.c_str(), static_cast<std::size_t>(s.getLength()));
}

std::string keyOf(const OdString& path) {
  std::string key = platform::sortKeyNoCase(view(path));
  // Kept for the node's life and read by every comparison: no spare room.
  key.shrink_to_fit();
  return key;
}

bool endsWithSlash(const OdString& path) {
  const int n = path.getLength();
  return n > 0 && path.c_str()[n - 1] == L'/';
}

// The child of `set` whose path equals `fullPath` ignoring case, or none.
ConfigNodePtr findByKey(const ConfigNodeSet& set, const std::wstring& fullPath) {
  if (set.empty()) return nullptr;
  const auto it = set.find(ConfigPathKey{platform::sortKeyNoCase(fullPath)});
  return it == set.end() ? nullptr : *it;
}

// The child of `set` called `name` (a key, whose path ends in "/", when
// `key`) one level below `parentPath`, ignoring case, by collation key;
// `scratch` receives the child's full path.
ConfigNodePtr findByName(const ConfigNodeSet& set, std::wstring_view parentPath, std::wstring_view name, bool key,
                         std::wstring& scratch) {
  scratch.assign(parentPath).append(name);
  if (key) scratch.push_back(L'/');
  return findByKey(set, scratch);
}

// Index names are at most this long; longer ones are looked up by key.
constexpr std::size_t kMaxIndexedName = 255;
using NameBuffer = std::array<char, kMaxIndexedName + 1>;

// `name` in lower case, followed by "/" for a key, when it is one level of
// printable ASCII; else nothing. The text is written to `out`.
std::optional<std::string_view> asciiName(std::wstring_view name, bool key, NameBuffer& out) {
  if (name.empty() || name.size() > kMaxIndexedName) return std::nullopt;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const wchar_t c = name[i];
    if (c < 0x20 || c > 0x7E || c == L'/') return std::nullopt;
    out[i] = static_cast<char>(c >= L'A' && c <= L'Z' ? c + (L'a' - L'A') : c);
  }
  if (key) out[name.size()] = '/';
  return std::string_view(out.data(), name.size() + (key ? 1 : 0));
}

// The index name of `child` under a container at `parentPath`: its path must
// continue the container's exactly, by one level of printable ASCII.
std::optional<std::string> indexName(const std::wstring_view parentPath, const ConfigNodePtr& child) {
  std::wstring_view path = view(child->path());
  if (path.size() <= parentPath.size() || path.substr(0, parentPath.size()) != parentPath) return std::nullopt;
  path.remove_prefix(parentPath.size());
  const bool key = path.back() == L'/';
  if (key) path.remove_suffix(1);
  NameBuffer buffer;
  const auto name = asciiName(path, key, buffer);
  return name ? std::optional<std::string>(*name) : std::nullopt;
}

}  // namespace

// --- values -----------------------------------------------------------------

ConfigValBase::~ConfigValBase() = default;

ConfigValULong::ConfigValULong(unsigned long value) : m_value(static_cast<std::uint32_t>(value)) {}
ConfigValBase::Type ConfigValULong::type() const { return kULong; }
bool ConfigValULong::getULong(unsigned long& value) const {
  value = m_value;
  return true;
}
bool ConfigValULong::getString(OdString&) const { return false; }
bool ConfigValULong::setULong(unsigned long value) {
  m_value = static_cast<std::uint32_t>(value);
  return true;
}
bool ConfigValULong::setString(const wchar_t*) { return false; }

ConfigValString::ConfigValString(const OdString& value) : m_value(value) {}
ConfigValBase::Type ConfigValString::type() const { return kString; }
bool ConfigValString::getULong(unsigned long&) const { return false; }
bool ConfigValString::getString(OdString& value) const {
  value = m_value;
  return true;
}
bool ConfigValString::setULong(unsigned long) { return false; }
bool ConfigValString::setString(const wchar_t* value) {
  if (value == nullptr) return false;
  m_value = value;
  return true;
}

// --- comparator -------------------------------------------------------------

bool ConfigNodeComparator::operator()(ConfigNodePtr a, ConfigNodePtr b) const {
  // An empty first pointer sorts first even against another empty pointer;
  // callers rely on this exact answer.
  if (!a) return true;
  if (!b) return false;
  return a->pathKey() < b->pathKey();
}

bool ConfigNodeComparator::operator()(const ConfigNodePtr& a, const ConfigPathKey& b) const {
  if (!a) return true;
  return a->pathKey() < b.bytes;
}

bool ConfigNodeComparator::operator()(const ConfigPathKey& a, const ConfigNodePtr& b) const {
  if (!b) return false;
  return a.bytes < b->pathKey();
}

// --- ConfigValRaw ------------------------------------------------------------

ConfigValRaw::ConfigValRaw(std::uint32_t registryType, std::vector<std::uint8_t> data)
    : m_registryType(registryType), m_data(std::move(data)) {}
ConfigValBase::Type ConfigValRaw::type() const { return kNoValue; }
bool ConfigValRaw::getULong(unsigned long&) const { return false; }
bool ConfigValRaw::getString(OdString&) const { return false; }
bool ConfigValRaw::setULong(unsigned long) { return false; }
bool ConfigValRaw::setString(const wchar_t*) { return false; }

// --- ConfigNodeBase ---------------------------------------------------------

ConfigNodeBase::~ConfigNodeBase() = default;

ConfigValBase::Type ConfigNodeBase::type() const { return m_value ? m_value->type() : ConfigValBase::kNoValue; }

bool ConfigNodeBase::getULong(unsigned long& value) const {
  if (type() != ConfigValBase::kULong) return false;
  return m_value->getULong(value);
}

bool ConfigNodeBase::getString(OdString& value) const {
  if (type() != ConfigValBase::kString) return false;
  return m_value->getString(value);
}

bool ConfigNodeBase::setULong(unsigned long value) {
  m_modified = true;
  // type() is virtual: a tombstone reports -1 even when it holds a value, so
  // test the value object itself before updating in place.
  if (type() == ConfigValBase::kULong && m_value) return m_value->setULong(value);
  m_value = std::make_shared<ConfigValULong>(value);
  return true;
}

bool ConfigNodeBase::setString(const wchar_t* value) {
  m_modified = true;
  if (value == nullptr) {
    m_value.reset();
    return true;
  }
  if (type() == ConfigValBase::kString && m_value) return m_value->setString(value);
  m_value = std::make_shared<ConfigValString>(OdString(value));
  return true;
}

const ConfigValRaw* ConfigNodeBase::rawValue() const {
  if (const auto* overlay = dynamic_cast<const ConfigReplacedNode*>(this)) {
    return overlay->wrapped() ? overlay->wrapped()->rawValue() : nullptr;
  }
  return dynamic_cast<const ConfigValRaw*>(m_value.get());
}

void ConfigNodeBase::setRawValue(std::uint32_t registryType, std::vector<std::uint8_t> data) {
  m_modified = true;
  m_value = std::make_shared<ConfigValRaw>(registryType, std::move(data));
}

void copyNodeValue(const ConfigNodeBase& from, ConfigNodeBase& to) {
  unsigned long number = 0;
  OdString text;
  if (from.getULong(number)) {
    to.ConfigNodeBase::setULong(number);
  } else if (from.getString(text)) {
    to.ConfigNodeBase::setString(text.c_str());
  } else if (const ConfigValRaw* raw = from.rawValue()) {
    to.setRawValue(raw->registryType(), raw->data());
  }
}

// --- ConfigNode -------------------------------------------------------------

const ConfigNodeSet ConfigNode::kEmptySet;

ConfigNode::ConfigNode(const OdString& path) : m_path(path) { m_pathKey = keyOf(path); }
ConfigNode::~ConfigNode() = default;

ConfigNodePtr ConfigNode::createNode(const OdString& path) {
  if (path.isEmpty() || endsWithSlash(path)) return std::make_shared<ConfigContainerNode>(path);
  return std::make_shared<ConfigNode>(path);
}

ConfigNodePtr ConfigNode::cloneNode(ConfigNodePtr node, bool withDeleted) {
  if (!node) return nullptr;
  if (const auto* replaced = dynamic_cast<const ConfigReplacedNode*>(node.get())) {
    return cloneNode(replaced->wrapped(), withDeleted);
  }
  if (dynamic_cast<const ConfigNoNode*>(node.get()) != nullptr) return nullptr;
  if (const auto* deleted = dynamic_cast<const ConfigDeletedNode*>(node.get())) {
    if (!withDeleted) return nullptr;
    return std::make_shared<ConfigDeletedNode>(deleted->path(), deleted->wasContainer());
  }

  ConfigNodePtr copy;
  if (node->isContainerNode()) {
    auto container = std::make_shared<ConfigContainerNode>(node->path());
    for (const auto& child : node->children()) {
      if (auto childCopy = cloneNode(child, withDeleted)) {
        // Insert directly: the copy must not record the children as replacements.
        container->insertChild(std::move(childCopy));
      }
    }
    copy = std::move(container);
  } else {
    copy = std::make_shared<ConfigNode>(node->path());
  }
  copyNodeValue(*node, *copy);
  return copy;
}

const OdString& ConfigNode::path() const { return m_path; }
bool ConfigNode::isContainerNode() const { return false; }
const ConfigNodeSet& ConfigNode::children() const { return kEmptySet; }
ConfigNodePtr ConfigNode::childAt(const OdString&) const { return nullptr; }
const ConfigContainerNode* ConfigNodeBase::childOwner() const { return nullptr; }
bool ConfigNode::addChild(ConfigNodePtr) { return false; }
bool ConfigNode::removeChild(ConfigNodePtr) { return false; }
bool ConfigNode::isDestructiveWrite() const { return type() == ConfigValBase::kNone; }
bool ConfigNode::isTouched() const { return true; }
void ConfigNode::unTouch() {}

// --- ConfigContainerNode ----------------------------------------------------

ConfigContainerNode::ConfigContainerNode(const OdString& path) : ConfigNode(path) {}
ConfigContainerNode::~ConfigContainerNode() = default;

bool ConfigContainerNode::setULong(unsigned long value) {
  m_touched = true;
  return ConfigNode::setULong(value);
}

bool ConfigContainerNode::setString(const wchar_t* value) {
  m_touched = true;
  return ConfigNode::setString(value);
}

bool ConfigContainerNode::isContainerNode() const { return true; }
const ConfigNodeSet& ConfigContainerNode::children() const { return m_children; }

const ConfigContainerNode* ConfigContainerNode::childOwner() const { return this; }

ConfigNodePtr ConfigContainerNode::childAt(const OdString& relativePath) const {
  // Level by level through each node's children, which every node kind
  // answers as its own childAt() would search (an overlay with its wrapped
  // node's, a leaf or tombstone with none).
  std::wstring_view rest = view(relativePath);
  while (!rest.empty() && rest.front() == L'/') rest.remove_prefix(1);
  if (rest.empty()) return nullptr;

  const ConfigNodeBase* level = this;
  ConfigNodePtr current;  // keeps the level being searched alive
  std::wstring scratch;   // one path buffer for the lookups by collation key
  const auto find = [&level, &scratch](std::wstring_view name, bool key) -> ConfigNodePtr {
    if (const ConfigContainerNode* owner = level->childOwner()) return owner->findChild(name, key, scratch);
    // Nodes of kinds made outside this library have no index.
    return findByName(level->children(), view(level->path()), name, key, scratch);
  };
  while (true) {
    const std::size_t slash = rest.find(L'/');
    const std::wstring_view name = rest.substr(0, slash);
    if (slash == std::wstring_view::npos) {
      // The last component may name a value or a key.
      if (auto value = find(name, false)) return value;
      return find(name, true);
    }
    // An intermediate component always names a key.
    ConfigNodePtr child = find(name, true);
    rest.remove_prefix(slash);
    while (!rest.empty() && rest.front() == L'/') rest.remove_prefix(1);
    if (!child || rest.empty()) return child;
    current = std::move(child);
    level = current.get();
  }
}

ConfigNodePtr ConfigContainerNode::findChild(std::wstring_view name, bool key, std::wstring& scratch) const {
  // The index answers alone only when it holds every child: a name outside it
  // (the ligature "ĳ", a zero-width space inside) may still equal an ASCII one.
  if (m_otherNames == 0 && platform::asciiFoldsToCollation()) {
    NameBuffer buffer;
    if (const auto lower = asciiName(name, key, buffer)) {
      const auto it = m_asciiNames.find(*lower);
      return it == m_asciiNames.end() ? nullptr : *it->second;
    }
  }
  return findByName(m_children, view(m_path), name, key, scratch);
}

void ConfigContainerNode::insertChild(ConfigNodePtr child) {
  auto name = indexName(view(m_path), child);
  const auto [it, inserted] = m_children.insert(std::move(child));
  if (!inserted) return;
  if (name) {
    m_asciiNames.insert_or_assign(std::move(*name), it);
  } else {
    ++m_otherNames;
  }
}

void ConfigContainerNode::eraseChild(ConfigNodeSet::const_iterator it) {
  if (auto name = indexName(view(m_path), *it)) {
    m_asciiNames.erase(*name);
  } else {
    --m_otherNames;
  }
  m_children.erase(it);
}

bool ConfigContainerNode::addChild(ConfigNodePtr child) {
  if (!child || child->path().isEmpty()) return false;
  m_touched = true;
  const auto it = m_children.find(child);
  if (it != m_children.end()) {
    // The store still holds the old subtree: the overlay makes the next flush
    // delete it before writing the new one.
    eraseChild(it);
    insertChild(std::make_shared<ConfigReplacedNode>(std::move(child)));
  } else {
    insertChild(std::move(child));
  }
  return true;
}

bool ConfigContainerNode::removeChild(ConfigNodePtr child) {
  if (!child) return false;
  const auto it = m_children.find(child);
  // A child that replaced another stands in the set behind its overlay; the
  // caller holds the child itself.
  const auto* overlay = it == m_children.end() ? nullptr : dynamic_cast<const ConfigReplacedNode*>(it->get());
  if (it != m_children.end() && (*it == child || (overlay != nullptr && overlay->wrapped() == child))) {
    m_touched = true;
    auto tombstone = std::make_shared<ConfigDeletedNode>(child->path(), child->isContainerNode());
    eraseChild(it);
    insertChild(std::move(tombstone));
    return true;
  }
  for (const auto& own : m_children) {
    if (own->removeChild(child)) {
      m_touched = true;
      return true;
    }
  }
  return false;
}

bool ConfigContainerNode::isTouched() const { return m_touched; }
void ConfigContainerNode::unTouch() { m_touched = false; }

// --- ConfigDeletedNode ------------------------------------------------------

ConfigDeletedNode::ConfigDeletedNode(const OdString& path, bool wasContainer)
    : ConfigNode(path), m_wasContainer(wasContainer) {}
ConfigDeletedNode::~ConfigDeletedNode() = default;
ConfigValBase::Type ConfigDeletedNode::type() const { return ConfigValBase::kNone; }
bool ConfigDeletedNode::isContainerNode() const { return m_wasContainer; }

// --- ConfigNoNode -----------------------------------------------------------

ConfigNoNode::ConfigNoNode(const OdString& path) : ConfigNode(path) {}
ConfigNoNode::~ConfigNoNode() = default;
ConfigValBase::Type ConfigNoNode::type() const { return ConfigValBase::kNone; }
bool ConfigNoNode::isContainerNode() const { return true; }

// --- ConfigReplacedNode -----------------------------------------------------

ConfigReplacedNode::ConfigReplacedNode(ConfigNodePtr wrapped)
    : ConfigNode(wrapped ? wrapped->path() : OdString()), m_wrapped(std::move(wrapped)) {}
ConfigReplacedNode::~ConfigReplacedNode() = default;

ConfigValBase::Type ConfigReplacedNode::type() const { return m_wrapped ? m_wrapped->type() : ConfigValBase::kNone; }
bool ConfigReplacedNode::getULong(unsigned long& value) const { return m_wrapped && m_wrapped->getULong(value); }
bool ConfigReplacedNode::getString(OdString& value) const { return m_wrapped && m_wrapped->getString(value); }
bool ConfigReplacedNode::setULong(unsigned long value) { return m_wrapped && m_wrapped->setULong(value); }
bool ConfigReplacedNode::setString(const wchar_t* value) { return m_wrapped && m_wrapped->setString(value); }
const OdString& ConfigReplacedNode::path() const { return m_wrapped ? m_wrapped->path() : m_path; }
bool ConfigReplacedNode::isContainerNode() const { return m_wrapped && m_wrapped->isContainerNode(); }
const ConfigNodeSet& ConfigReplacedNode::children() const { return m_wrapped ? m_wrapped->children() : kEmptySet; }
const ConfigContainerNode* ConfigReplacedNode::childOwner() const {
  return m_wrapped ? m_wrapped->childOwner() : nullptr;
}
ConfigNodePtr ConfigReplacedNode::childAt(const OdString& relativePath) const {
  return m_wrapped ? m_wrapped->childAt(relativePath) : nullptr;
}
bool ConfigReplacedNode::addChild(ConfigNodePtr child) { return m_wrapped && m_wrapped->addChild(std::move(child)); }
bool ConfigReplacedNode::removeChild(ConfigNodePtr child) {
  return m_wrapped && m_wrapped->removeChild(std::move(child));
}
bool ConfigReplacedNode::isDestructiveWrite() const { return true; }
bool ConfigReplacedNode::isTouched() const { return !m_wrapped || m_wrapped->isTouched(); }
void ConfigReplacedNode::unTouch() {}

}  // namespace ut
