#include <ut/ut_profile.h>

#include <ut/ut_config.h>

#include "ut_configtree.h"

#include <wx/log.h>

#include <cwchar>
#include <vector>

namespace ut {

namespace {

constexpr const wchar_t* kCurProfileValue = L"CurProfile";
constexpr const wchar_t* kConfigKey = L"Config/";

OdString profilesRootPath() { return Config::profilesRoot(eCfgPathConfig); }

OdString keyPathOf(const OdString& name) {
  OdString path = name;
  path += L"/";
  return path;
}

// A name usable as one key level below the profiles root.
bool isProfileName(const OdString& name) {
  if (name.isEmpty()) return false;
  if (std::wcschr(name.c_str(), L'/') != nullptr || std::wcschr(name.c_str(), L'\\') != nullptr) return false;
  return name != L"." && name != L"..";
}

bool isLiveContainer(const ConfigNodePtr& node) { return isLiveNode(node) && node->isContainerNode(); }

// The node itself behind the overlay that stands for it in the tree once it
// replaced another: the manager keeps and compares the nodes themselves, so
// that "is this the current profile" holds whichever way a node was reached.
ConfigNodePtr withoutOverlay(ConfigNodePtr node) {
  while (const auto* overlay = dynamic_cast<const ConfigReplacedNode*>(node.get())) node = overlay->wrapped();
  return node;
}

// Stands for a whole profile key that is deleted from the store at once,
// without waiting for the next flush.
class ConfigDeletedProfileNode final : public ConfigDeletedNode {
 public:
  explicit ConfigDeletedProfileNode(const OdString& name) : ConfigDeletedNode(keyPathOf(name), true) {}
};

// A fresh profile container carrying the description of another, if any.
ConfigNodePtr newProfileLike(const OdString& name, const ConfigNodePtr& source) {
  ConfigNodePtr node = ConfigNode::createNode(keyPathOf(name));
  OdString description;
  if (source && source->getString(description)) node->setString(description.c_str());
  return node;
}

ConfigNodePtr curProfileValue(const OdString& name) {
  ConfigNodePtr value = ConfigNode::createNode(OdString(kCurProfileValue));
  value->setString(name.c_str());
  return value;
}

OdString nameOfPath(const OdString& path) {
  const int slash = path.find(L'/');
  return slash < 0 ? path : path.left(slash);
}

}  // namespace

ProfileManagerBase::ProfileManagerBase() {
  m_profiles = importNode(profilesRootPath());
  // A store without a profiles key yet (a first run) starts from an empty
  // tree: the first flush creates the key.
  if (!m_profiles) m_profiles = ConfigNode::createNode(OdString());
  const OdString name = storedCurrentName();
  if (!name.isEmpty()) m_currentProfile = getProfileNode(name, false);
  Config::initConfig(this);
}

ProfileManagerBase::~ProfileManagerBase() {
  // The facade must never reach a manager that is gone.
  if (Config::installedProfileManager() == this) Config::initConfig(nullptr);
}

void ProfileManagerBase::forgetCurrentName(const OdString& name) {
  if (storedCurrentName().iCompare(name) != 0) return;
  OdString own;
  if (m_profiles->getString(own) && !own.isEmpty()) m_profiles->setString(L"");
  const ConfigNodePtr value = m_profiles->childAt(OdString(kCurProfileValue));
  if (isLiveNode(value) && !value->isContainerNode()) m_profiles->removeChild(value);
}

OdString ProfileManagerBase::storedCurrentName() const {
  if (!m_profiles) return OdString();
  OdString name;
  if (m_profiles->getString(name) && !name.isEmpty()) return name;
  name = OdString();
  const ConfigNodePtr value = m_profiles->childAt(OdString(kCurProfileValue));
  if (isLiveNode(value) && !value->isContainerNode()) value->getString(name);
  return name;
}

ConfigNodePtr ProfileManagerBase::getProfileNode(const OdString& name, bool create) {
  if (!m_profiles) return nullptr;
  if (name.isEmpty()) return m_profiles;
  if (!isProfileName(name)) return nullptr;
  ConfigNodePtr node = withoutOverlay(m_profiles->childAt(keyPathOf(name)));
  if (isLiveContainer(node)) return node;
  if (!create) return nullptr;
  node = ConfigNode::createNode(keyPathOf(name));
  return m_profiles->addChild(node) ? node : nullptr;
}

void ProfileManagerBase::getProfileNames(OdArray<OdString>& names) {
  if (!m_profiles) return;
  for (const ConfigNodePtr& child : m_profiles->children()) {
    if (child->isContainerNode() && child->type() != ConfigValBase::kNone) names.append(nameOfPath(child->path()));
  }
}

bool ProfileManagerBase::setCurrentProfile(const OdString& name, bool prepare) {
  if (!m_profiles || name.isEmpty()) return false;
  ConfigNodePtr profile = getProfileNode(name, true);
  if (!profile) return false;
  m_currentProfile = profile;
  if (prepare && !isLiveContainer(profile->childAt(OdString(kConfigKey)))) {
    profile->addChild(ConfigNode::createNode(profile->path() + kConfigKey));
  }
  Config::initConfig(this);
  m_profiles->setString(L"");
  return m_profiles->addChild(curProfileValue(nameOfPath(profile->path())));
}

bool ProfileManagerBase::copyProfile(const OdString& from, const OdString& to) {
  // An empty source would name the whole tree.
  if (!m_profiles || !isProfileName(from) || !isProfileName(to)) return false;
  const ConfigNodePtr source = getProfileNode(from, true);
  if (!source) return false;
  ConfigNodePtr copy = newProfileLike(to, source);
  // Paths are absolute in the tree: the copies take the new name.
  const OdString sourcePath = source->path();
  std::vector<ConfigNodePtr> children(source->children().begin(), source->children().end());
  for (const ConfigNodePtr& child : children) {
    ConfigNodePtr clone = relocatedCopy(child, sourcePath, copy->path());
    if (clone) copy->addChild(clone);
  }
  if (!m_profiles->addChild(copy)) return false;
  // A copy over the current profile replaces it: the settings served from
  // now on are the copy's, not those of the node that left the tree.
  if (m_currentProfile && currentProfileName().iCompare(to) == 0) m_currentProfile = copy;
  return true;
}

bool ProfileManagerBase::deleteProfile(const OdString& name) {
  if (!m_profiles) return false;
  const ConfigNodePtr profile = getProfileNode(name, true);
  const bool namedCurrent = !name.isEmpty() && storedCurrentName().iCompare(name) == 0;
  if (!profile || !m_profiles->removeChild(profile)) return false;
  if (m_currentProfile == profile) m_currentProfile.reset();
  // The name of a profile that is gone must not bring it back: the next use
  // of a profile group would otherwise recreate it under that name.
  if (namedCurrent || !m_currentProfile) forgetCurrentName(name);
  const auto storage = createStorage(profilesRootPath(), true);
  if (!storage) return false;
  storage->flush(std::make_shared<ConfigDeletedProfileNode>(name), true);
  return true;
}

bool ProfileManagerBase::renameProfile(const OdString& from, const OdString& to) {
  if (!m_profiles || !isProfileName(from) || !isProfileName(to)) return false;
  if (getProfileNode(to, false)) return false;
  const ConfigNodePtr source = getProfileNode(from, true);
  if (!source) return false;
  ConfigNodePtr target = newProfileLike(to, source);
  const bool wasCurrent = m_currentProfile == source;
  if (!m_profiles->addChild(target)) return false;
  if (!m_profiles->removeChild(source)) {
    m_profiles->removeChild(target);
    return false;
  }
  if (wasCurrent) {
    m_currentProfile = target;
    m_profiles->setString(L"");
    m_profiles->addChild(curProfileValue(to));
  }
  // Paths are absolute in the tree, so the children cannot be moved as they
  // are: they are carried over as copies under the new name.
  const OdString sourcePath = source->path();
  std::vector<ConfigNodePtr> children(source->children().begin(), source->children().end());
  for (const ConfigNodePtr& child : children) {
    if (!isLiveNode(child)) continue;
    ConfigNodePtr moved = relocatedCopy(child, sourcePath, target->path());
    if (moved) target->addChild(moved);
  }
  return true;
}

bool ProfileManagerBase::resetProfile(const OdString& name) {
  if (!m_profiles) return false;
  const ConfigNodePtr old = getProfileNode(name, false);
  if (!old) return false;
  ConfigNodePtr fresh = ConfigNode::createNode(old->path());
  if (!m_profiles->addChild(fresh)) return false;
  if (m_currentProfile == old) m_currentProfile = fresh;
  return true;
}

bool ProfileManagerBase::importProfile(const OdString& name, std::shared_ptr<ConfigStorageBase> storage) {
  if (!m_profiles || !isProfileName(name)) return false;
  if (!storage) storage = createStorage(profilesRootPath(), true);
  if (!storage) return false;
  ConfigNodePtr profile = ConfigNode::createNode(keyPathOf(name));
  if (!storage->load(profile, false)) return false;
  if (!m_profiles->addChild(profile)) return false;
  if (m_currentProfile && currentProfileName().iCompare(name) == 0) setCurrentProfile(name, true);
  return true;
}

bool ProfileManagerBase::exportProfile(const OdString& name, std::shared_ptr<ConfigStorageBase> storage) const {
  if (!m_profiles || !isProfileName(name)) return false;
  const ConfigNodePtr profile = m_profiles->childAt(keyPathOf(name));
  if (!isLiveContainer(profile)) return false;
  // A storage of its own is the store the tree mirrors: only the changes need
  // writing. A storage handed in may hold nothing of the profile.
  const bool incremental = !storage;
  if (!storage) storage = createStorage(profilesRootPath(), true);
  if (!storage) return false;
  return storage->flush(profile, incremental);
}

OdString ProfileManagerBase::currentProfileName() const {
  if (!m_currentProfile) return OdString();
  OdString name = m_currentProfile->path();
  name.trimRight(L'/');
  return name;
}

bool ProfileManagerBase::flush() const {
  if (!m_profiles) return true;
  bool ok = true;
  for (const ConfigNodePtr& child : m_profiles->children()) {
    if (isLiveContainer(child) && !exportProfile(nameOfPath(child->path()), nullptr)) ok = false;
  }
  const auto storage = createStorage(profilesRootPath(), true);
  if (!storage) return false;
  for (const ConfigNodePtr& child : m_profiles->children()) {
    if (child->type() == ConfigValBase::kNone && !storage->flush(child, false)) ok = false;
  }
  if (!storage->flush(m_profiles, true)) return false;
  return ok;
}

bool ProfileManagerBase::reset() {
  const OdString remembered = currentProfileName();
  m_currentProfile.reset();
  ConfigNodePtr loaded = importNode(profilesRootPath());
  if (!loaded) {
    m_profiles = ConfigNode::createNode(OdString());
    return false;
  }
  m_profiles = loaded;
  const OdString name = remembered.isEmpty() ? storedCurrentName() : remembered;
  if (!name.isEmpty()) m_currentProfile = getProfileNode(name, false);
  return true;
}

}  // namespace ut
