#pragma once

// Loading a configuration tree (ut_confignode.h) from a hierarchical store
// and flushing its changes back, and exporting a group of the store as
// registry-export text.
//
// A storage is bound to one root key, given as a key path in the
// eCfgPathConfig form of ut_config.h ("/TVCAD/V25/en_US/Profiles/"). The
// paths of the nodes it loads and flushes are relative to that root: the root
// key itself is the container with the empty path, its subkey "Default" the
// container "Default/", a value "X" of that subkey the node "Default/X". A
// key's own default value (the unnamed value) is the value of its container.
//
// Decisions where the design leaves a choice:
//  - load(node, synced): synced = true means the tree will mirror this store,
//    so every loaded node is marked saved (ConfigNodeBase::markSaved); with
//    false the loaded nodes stay new, and a later incremental flush to any
//    store writes them in full (a profile read from elsewhere).
//  - flush(node, incremental): incremental = true means the store holds what
//    the tree held when it was loaded or last flushed: only nodes marked new
//    or modified are written, only deletions not yet carried out are made,
//    and afterwards the whole subtree is marked saved and untouched. With
//    false the whole subtree is written and every deletion it records is
//    made (a store that may hold none of it); the marks stay as they are.
//  - A flush always descends into containers that are not touched: a value
//    set in place on a value node does not touch its parent, and the walk
//    over the tree in memory is cheap next to one store write. What is
//    written is decided by the marks, not by isTouched() (value nodes always
//    answer touched).
//  - Below a node whose deletion is carried out, and below a container that
//    is new, everything is written: the store holds nothing there any more.
//  - A value node without a value (type 0) writes nothing; an absent node
//    (ConfigNoNode) stands for nothing in the store and is skipped.
//  - ConfigManagerBase::createStorage(path, create): create = true creates the
//    root key when it is missing; with false a missing root gives no storage.
//  - A flush over the registry store (ConfigRegistryStorage, or
//    ConfigStorageWx over a RegConfig) runs in one RegTransaction: a process
//    killed in the middle leaves the store as it was before the flush, and a
//    flush that fails writes nothing and leaves the marks as they were. Over
//    another wxConfigBase the flush ends with wxConfigBase::Flush().
//  - A key's unnamed default value is kept only by the registry store; over
//    other wxConfigBase classes it is neither loaded nor written.
//  - Names that cannot be addressed through wxConfigBase paths (holding "/",
//    or "." and "..") are not loaded.
//  - Over a wxConfigBase that cannot tell numbers from strings (its
//    GetEntryType() answers Type_String for both, as wxFileConfig does),
//    values load as strings.
//
// Storages are copyable; copies share the store object. Nothing here throws
// for bad input: failures answer false or an empty pointer.

#include <ut/ut_confignode.h>
#include <ut/ut_export.h>

#include "OdString.h"

#include <memory>

class wxConfigBase;

namespace ut {

class UT_EXPORT ConfigStorageBase {
 public:
  ConfigStorageBase() = default;
  ConfigStorageBase(const ConfigStorageBase&) = default;
  ConfigStorageBase(ConfigStorageBase&&) = default;
  ConfigStorageBase& operator=(const ConfigStorageBase&) = default;
  ConfigStorageBase& operator=(ConfigStorageBase&&) = default;
  virtual ~ConfigStorageBase();

  // Fills a container from the key at root + node->path(): a container per
  // subkey and a value node per value (numbers with setULong, strings with
  // setString), recursively; every loaded node is untouched afterwards. False
  // when the node is not a live container, the key does not exist or the
  // store cannot be read.
  virtual bool load(const ConfigNodePtr& node, bool synced) = 0;
  // Writes a node and its subtree: for the node and then each child in child
  // order, first deletes what the store holds at a node answering
  // isDestructiveWrite() (the key with its subtree for a container, else the
  // value), then writes a value node by its type (1: a 32-bit number, 2: a
  // string), then flushes a container's children. False when a store
  // operation failed; over the registry store nothing is written then.
  virtual bool flush(const ConfigNodePtr& node, bool incremental) = 0;
  // The root key, in the eCfgPathConfig form, starting and ending in "/".
  virtual OdString rootPath() const = 0;
};

// A storage bound to one root key. Every storage loads and flushes by the
// same algorithm; subclasses say how the store is reached.
class UT_EXPORT ConfigStorage : public ConfigStorageBase {
 public:
  // The root is normalised: "\" counts as "/", a leading and a trailing "/"
  // are added. A root with an empty, "." or ".." level binds nothing: its
  // rootPath() is empty and every load and flush fails.
  explicit ConfigStorage(const OdString& rootPath);

  OdString rootPath() const override;

 private:
  OdString m_root;
};

// The per-user registry store below the company key
// (HKEY_CURRENT_USER\Software\TVCAD): what a RegConfig rooted there reads and
// writes, reached directly. Loading reads one consistent state of the store.
class UT_EXPORT ConfigRegistryStorage : public ConfigStorage {
 public:
  explicit ConfigRegistryStorage(const OdString& rootPath);

  bool load(const ConfigNodePtr& node, bool synced) override;
  bool flush(const ConfigNodePtr& node, bool incremental) override;

  // Whether the root key exists in the store.
  bool rootExists() const;
};

// Any wxConfigBase: shared with the caller, or borrowed (the caller keeps it
// alive as long as the storage and its copies are used). Its current path and
// environment-variable expansion are as they were after every call; strings
// are read without expanding variables.
class UT_EXPORT ConfigStorageWx : public ConfigStorage {
 public:
  ConfigStorageWx(const OdString& rootPath, std::shared_ptr<wxConfigBase> config);
  ConfigStorageWx(const OdString& rootPath, wxConfigBase& config);

  bool load(const ConfigNodePtr& node, bool synced) override;
  bool flush(const ConfigNodePtr& node, bool incremental) override;

 private:
  std::shared_ptr<wxConfigBase> m_config;
};

// The storage services the profile managers build on.
class UT_EXPORT ConfigManagerBase {
 public:
  virtual ~ConfigManagerBase();

 protected:
  // A registry storage for a root key path (eCfgPathConfig form). Empty when
  // the path is not a key path, the store cannot be opened, or the key is
  // missing and create is false; with create the key is made.
  static std::shared_ptr<ConfigStorageBase> createStorage(const OdString& path, bool create);
  // The whole subtree of the registry key at path, as a tree whose root is
  // the container with the empty path, marked saved and untouched; empty when
  // the key does not exist or cannot be read.
  static ConfigNodePtr importNode(const OdString& path);
  // Writes a tree in full below the registry key at path (created when
  // missing), carrying out every deletion it records; one transaction.
  static bool exportNode(ConfigNodePtr node, const OdString& path);
};

// The group exporter: writes the registry key of a group with its subtree to
// a file in registry-export form (UTF-8, CR LF line ends, first line
// "Windows Registry Editor Version 5.00"), replacing the file's contents.
// keyPath is a key path in the eCfgPathConfig form ("/TVCAD/V25/en_US/Addins/",
// "/" for the company key). Values are written by the type the store reports:
// strings quoted and escaped, 32-bit numbers as dword:%.8x, floating-point
// numbers as strings formatted with %g, and "{{Unknown type: %d}}" for
// anything else. With report set, a failure is logged with wxLogError as one
// of "Bad arguments", "Bad group path: %ls", "Config group not found: %ls",
// "Failed to open file %ls", "Failed to create file %ls", "Failed to write to
// file %ls"; the result is false in every failing case.
UT_EXPORT bool exportConfigGroup(const OdString& keyPath, const OdString& fileName, bool report);
// The same over any wxConfigBase whose root stands for the registry key
// storeRoot (a path below HKEY_CURRENT_USER, "Software\TVCAD" for the
// registry store), which the key lines name.
UT_EXPORT bool exportConfigGroup(wxConfigBase& config, const OdString& storeRoot, const OdString& keyPath,
                                 const OdString& fileName, bool report);

}  // namespace ut
