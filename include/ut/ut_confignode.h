#pragma once

// The in-memory configuration tree. It mirrors the registry: containers are
// keys, value nodes are values. Every node carries its full path with "/"
// between levels; a path that is empty or ends in "/" names a key.
//
// A tree fresh from the store holds containers and value nodes only. Changes
// made afterwards are recorded in the same tree, in place (setters on value
// nodes, containers marked touched) or as overlay nodes: ConfigReplacedNode for
// a subtree that replaces one present before, ConfigDeletedNode for a removal.
// A flush destroys in the store exactly what the nodes answering
// isDestructiveWrite() stand for, then writes what changed (see isNew() and
// isModified()).
//
// Nodes and values are always held through std::shared_ptr; a node never owns
// its parent. The tree has no lock: callers serialise access.

#include <ut/ut_export.h>

#include "OdString.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace ut {

// A value held by exactly one value node.
class UT_EXPORT ConfigValBase {
 public:
  // Node value types: -1 absent or deleted, 0 no value, 1 32-bit unsigned
  // number, 2 string.
  enum Type { kNone = -1, kNoValue = 0, kULong = 1, kString = 2 };

  virtual ~ConfigValBase();
  virtual Type type() const = 0;
  virtual bool getULong(unsigned long& value) const = 0;
  virtual bool getString(OdString& value) const = 0;
  virtual bool setULong(unsigned long value) = 0;
  virtual bool setString(const wchar_t* value) = 0;
};

// A 32-bit unsigned number. Numbers wider than 32 bits keep their low 32 bits,
// as a registry DWORD does.
class UT_EXPORT ConfigValULong final : public ConfigValBase {
 public:
  explicit ConfigValULong(unsigned long value = 0);
  Type type() const override;
  bool getULong(unsigned long& value) const override;
  bool getString(OdString& value) const override;
  bool setULong(unsigned long value) override;
  bool setString(const wchar_t* value) override;

 private:
  std::uint32_t m_value;
};

class UT_EXPORT ConfigValString final : public ConfigValBase {
 public:
  explicit ConfigValString(const OdString& value = OdString());
  Type type() const override;
  bool getULong(unsigned long& value) const override;
  bool getString(OdString& value) const override;
  bool setULong(unsigned long value) override;
  bool setString(const wchar_t* value) override;

 private:
  OdString m_value;
};

// A registry value of a type the tree does not read: binary data,
// multi-strings, 64-bit numbers wider than 32 bits and the like. The tree
// carries it so that a profile loaded and written back, or imported and
// exported, keeps every value the store or file held, byte for byte. To the
// tree it is no value at all: type() is 0, every getter and setter answers
// false, and a node's setters replace it.
class UT_EXPORT ConfigValRaw final : public ConfigValBase {
 public:
  // registryType: the registry's type number (3 binary, 7 multi-string, ...).
  ConfigValRaw(std::uint32_t registryType, std::vector<std::uint8_t> data);
  Type type() const override;
  bool getULong(unsigned long& value) const override;
  bool getString(OdString& value) const override;
  bool setULong(unsigned long value) override;
  bool setString(const wchar_t* value) override;

  std::uint32_t registryType() const { return m_registryType; }
  const std::vector<std::uint8_t>& data() const { return m_data; }

 private:
  std::uint32_t m_registryType;
  std::vector<std::uint8_t> m_data;
};

class ConfigNodeBase;
using ConfigNodePtr = std::shared_ptr<ConfigNodeBase>;

// A node path's collation key (see ConfigNodeBase::pathKey), for lookups.
struct ConfigPathKey {
  std::string bytes;
};

// Orders a container's children: case-insensitively by full path, with the
// process locale's collation (so "A/b" and "A/B" are the same child). An empty
// first pointer sorts before anything, even another empty pointer.
struct UT_EXPORT ConfigNodeComparator {
  bool operator()(ConfigNodePtr a, ConfigNodePtr b) const;

  // Lookups by a precomputed collation key (see ConfigNodeBase::pathKey), so
  // that finding a child costs one key computation, not one per comparison.
  using is_transparent = void;
  bool operator()(const ConfigNodePtr& a, const ConfigPathKey& b) const;
  bool operator()(const ConfigPathKey& a, const ConfigNodePtr& b) const;
};

using ConfigNodeSet = std::set<ConfigNodePtr, ConfigNodeComparator>;

class ConfigContainerNode;

class UT_EXPORT ConfigNodeBase {
 public:
  ConfigNodeBase() = default;
  // A copy shares the value object, not a copy of it.
  ConfigNodeBase(const ConfigNodeBase&) = default;
  ConfigNodeBase& operator=(const ConfigNodeBase&) = default;
  virtual ~ConfigNodeBase();

  virtual ConfigValBase::Type type() const;
  // True only for a number (type 1); the output is untouched otherwise.
  virtual bool getULong(unsigned long& value) const;
  // True only for a string (type 2); the output is untouched otherwise.
  virtual bool getString(OdString& value) const;
  // Updates a number in place, or replaces any other value by a number.
  virtual bool setULong(unsigned long value);
  // Updates a string in place, or replaces any other value by a string; a
  // null pointer removes the value (type 0).
  virtual bool setString(const wchar_t* value);

  // The raw registry data the node carries (see ConfigValRaw), or null; an
  // overlay answers for the node it wraps.
  const ConfigValRaw* rawValue() const;
  // Makes raw registry data the node's value, for storages and importers.
  // Marks the node modified, like the setters, but never a container touched.
  void setRawValue(std::uint32_t registryType, std::vector<std::uint8_t> data);

  virtual const OdString& path() const = 0;
  virtual bool isContainerNode() const = 0;
  virtual const ConfigNodeSet& children() const = 0;
  // The descendant at a path relative to this node ("a/b/c"), looked up
  // case-insensitively level by level; empty when a level is missing.
  virtual ConfigNodePtr childAt(const OdString& relativePath) const = 0;
  virtual bool addChild(ConfigNodePtr child) = 0;
  virtual bool removeChild(ConfigNodePtr child) = 0;
  // Whether a flush must first delete what the store holds at this path.
  virtual bool isDestructiveWrite() const = 0;
  // Whether a flush must write this node (containers: whether they changed).
  virtual bool isTouched() const = 0;
  virtual void unTouch() = 0;

  // The collation key of path(), computed when the node is made: a node's
  // path never changes and children are compared constantly.
  const std::string& pathKey() const { return m_pathKey; }

  // Store bookkeeping, kept apart from isTouched(): a value node always
  // answers touched, so touched marks alone would make every flush write every
  // value. A storage reads and clears these marks (see ut_configstorage.h).
  //  - isNew(): the store may lack this node, because it was made after the
  //    tree was loaded or last flushed; for a tombstone or an overlay node:
  //    the deletion it stands for has not reached the store yet.
  //  - isModified(): the node's own value was set since then (set by every
  //    setter, also when the value is set in place and the parent stays
  //    untouched).
  // A node starts new; a storage marks what it loads or writes as saved.
  bool isNew() const { return m_new; }
  bool isModified() const { return m_modified; }
  void markNew() { m_new = true; }
  void markSaved() {
    m_new = false;
    m_modified = false;
  }

 protected:
  friend class ConfigContainerNode;
  friend class ConfigReplacedNode;
  // The container whose children() this node answers with: itself, the node
  // an overlay wraps, or null for nodes that have none. Lookups go through it
  // to reach its index of the children's names.
  virtual const ConfigContainerNode* childOwner() const;

  std::shared_ptr<ConfigValBase> m_value;
  std::string m_pathKey;
  bool m_new = true;
  bool m_modified = false;
};

// A value node (a leaf); also the base of every other node kind.
class UT_EXPORT ConfigNode : public ConfigNodeBase {
 public:
  explicit ConfigNode(const OdString& path);
  ConfigNode(const ConfigNode&) = default;
  ConfigNode(ConfigNode&&) = default;
  ConfigNode& operator=(const ConfigNode&) = default;
  ConfigNode& operator=(ConfigNode&&) = default;
  ~ConfigNode() override;

  // The child set of every node kind that has no children.
  static const ConfigNodeSet kEmptySet;

  // A container for an empty path or one ending in "/", else a value node;
  // without a value, children or touched mark.
  static ConfigNodePtr createNode(const OdString& path);
  // A deep copy made of fresh nodes and values, sharing nothing with the
  // source. withDeleted: whether tombstones are copied (true) or left out
  // (false). Overlay nodes are copied as the node they wrap; an absent node
  // copies to an empty pointer.
  static ConfigNodePtr cloneNode(ConfigNodePtr node, bool withDeleted = true);

  const OdString& path() const override;
  bool isContainerNode() const override;
  const ConfigNodeSet& children() const override;
  ConfigNodePtr childAt(const OdString& relativePath) const override;
  bool addChild(ConfigNodePtr child) override;
  bool removeChild(ConfigNodePtr child) override;
  bool isDestructiveWrite() const override;
  bool isTouched() const override;
  void unTouch() override;

 protected:
  OdString m_path;
};

// A key: holds children and may carry a default value of its own.
class UT_EXPORT ConfigContainerNode : public ConfigNode {
 public:
  explicit ConfigContainerNode(const OdString& path);
  ~ConfigContainerNode() override;

  // Both setters mark the container touched first.
  bool setULong(unsigned long value) override;
  bool setString(const wchar_t* value) override;

  bool isContainerNode() const override;
  const ConfigNodeSet& children() const override;
  ConfigNodePtr childAt(const OdString& relativePath) const override;
  // Refuses a child with an empty path. A child whose path equals an existing
  // one's (ignoring case) replaces it through a ConfigReplacedNode.
  bool addChild(ConfigNodePtr child) override;
  // Searches the subtree for this very node object (a child that replaced
  // another counts as itself, not as its overlay); replaces it by a
  // ConfigDeletedNode in its parent and marks every container on the way.
  bool removeChild(ConfigNodePtr child) override;
  bool isTouched() const override;
  void unTouch() override;

 protected:
  const ConfigContainerNode* childOwner() const override;

 private:
  friend class ConfigNode;  // cloneNode fills a fresh copy's children directly

  // The child one level below this node called `name` (a key, whose path
  // ends in "/", when `key`), ignoring case; or none. `scratch` receives the
  // child's full path when the lookup needs its collation key.
  ConfigNodePtr findChild(std::wstring_view name, bool key, std::wstring& scratch) const;
  // Every change of m_children goes through these two, which keep the index.
  void insertChild(ConfigNodePtr child);
  void eraseChild(ConfigNodeSet::const_iterator it);

  ConfigNodeSet m_children;
  // The children named by printable ASCII one level below this node's path,
  // by that name in lower case. Where the locale's collation treats such names
  // as ASCII case folding does, finding one of them takes no collation key.
  struct NameHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const noexcept { return std::hash<std::string_view>{}(name); }
  };
  std::unordered_map<std::string, ConfigNodeSet::const_iterator, NameHash, std::equal_to<>> m_asciiNames;
  std::size_t m_otherNames = 0;  // children that are not in m_asciiNames
  bool m_touched = false;
};

// A tombstone: what was at this path is to be deleted by the next flush.
class UT_EXPORT ConfigDeletedNode : public ConfigNode {
 public:
  ConfigDeletedNode(const OdString& path, bool wasContainer);
  ~ConfigDeletedNode() override;

  ConfigValBase::Type type() const override;
  bool isContainerNode() const override;
  bool wasContainer() const { return m_wasContainer; }

 private:
  bool m_wasContainer;
};

// The absence of any node where an operation must return one.
class UT_EXPORT ConfigNoNode : public ConfigNode {
 public:
  explicit ConfigNoNode(const OdString& path = OdString());
  ~ConfigNoNode() override;

  ConfigValBase::Type type() const override;
  bool isContainerNode() const override;
};

// Stands in a parent's child set for a child that replaced another at the same
// path: everything is the wrapped node's, except that a flush must destroy the
// old subtree first.
class UT_EXPORT ConfigReplacedNode : public ConfigNode {
 public:
  explicit ConfigReplacedNode(ConfigNodePtr wrapped);
  ~ConfigReplacedNode() override;

  const ConfigNodePtr& wrapped() const { return m_wrapped; }

  ConfigValBase::Type type() const override;
  bool getULong(unsigned long& value) const override;
  bool getString(OdString& value) const override;
  bool setULong(unsigned long value) override;
  bool setString(const wchar_t* value) override;
  const OdString& path() const override;
  bool isContainerNode() const override;
  const ConfigNodeSet& children() const override;
  ConfigNodePtr childAt(const OdString& relativePath) const override;
  bool addChild(ConfigNodePtr child) override;
  bool removeChild(ConfigNodePtr child) override;
  bool isDestructiveWrite() const override;
  bool isTouched() const override;
  void unTouch() override;

 protected:
  const ConfigContainerNode* childOwner() const override;

 private:
  ConfigNodePtr m_wrapped;
};

}  // namespace ut
