#pragma once

// User profiles: named sets of settings, one key each below the profiles root
// (Config::profilesRoot) of the per-user store.
//
// ProfileManagerBase owns the in-memory tree of all profiles (the container
// loaded from the profiles root, whose children "<name>/" are the profiles),
// knows the current profile and carries out the whole-profile operations.
// Changes stay in the tree until flush(); the one exception is
// deleteProfile(), which deletes the profile's key in the store at once.
//
// The current profile's name is kept as the string value "CurProfile" of the
// profiles root (a name in the root's own string value wins when present);
// a profile's description is the string value of its own key. Names are
// matched without regard to letter case; a name must be one key level (not
// empty, no "/" or "\", not "." or ".."): anything else is refused (false,
// an empty pointer).
//
// Deliberate asymmetries, kept for the callers that rely on them:
// copyProfile() and deleteProfile() create a missing source profile (copying
// a missing profile gives two empty ones); renameProfile() refuses an
// existing target while copyProfile() overwrites it; deleteProfile() answers
// true even when the immediate store deletion fails.
//
// Decisions:
//  - A store without a profiles key (a first run) gives an empty tree, not
//    none: profiles can be made at once and the first flush creates the key.
//  - setCurrentProfile(name, prepare): with prepare set, a profile that has
//    no "Config/" key yet receives one, so that the groups below it can be
//    written at once. The flag has no other effect.
//  - Storages are registry storages of the profiles root; a storage made by
//    an operation itself is created with its root key (createStorage(.., true)).
//  - exportProfile() to a storage it is given writes the profile in full
//    (flush(.., false)): that storage may hold nothing of it. With no storage
//    given it writes to the store the tree mirrors, so only the changes are
//    written (flush(.., true)); this is what flush() does for every profile.
//  - importProfile() loads without the saved marks (load(.., false)), so the
//    next flush writes the whole imported profile.
//  - Renaming and copying rebuild the subtree under the new name (tree paths
//    include the profile's name), dropping deleted nodes.
//
// No locks: the host serialises access to the manager and to Config.

#include <ut/ut_configstorage.h>
#include <ut/ut_export.h>

#include "OdArray.h"
#include "OdString.h"

#include <memory>

class wxArrayString;
class wxString;

namespace ut {

// Every operation is virtual so that a host's manager can refine it; flush()
// exports through the virtual exportProfile().
class UT_EXPORT ProfileManagerBase : public ConfigManagerBase {
 public:
  // Loads the profiles tree from the store, selects the profile the store
  // records as current (when it exists) and installs itself with
  // Config::initConfig. The destructor uninstalls it again.
  ProfileManagerBase();
  ~ProfileManagerBase() override;
  ProfileManagerBase(const ProfileManagerBase&) = delete;
  ProfileManagerBase& operator=(const ProfileManagerBase&) = delete;

  // The container of a profile; the whole tree for an empty name. A missing
  // (or deleted) profile is created empty when create is set, else empty.
  virtual ConfigNodePtr getProfileNode(const OdString& name, bool create);
  // Appends (without clearing) the names of the live profiles, in tree order.
  virtual void getProfileNames(OdArray<OdString>& names);
  // Makes a profile current (created when missing), re-installs the manager
  // with Config::initConfig, empties the root's own value and records the
  // name as "CurProfile". False for an empty name.
  virtual bool setCurrentProfile(const OdString& name, bool prepare);
  // Copies a profile with its description to `to`, replacing a profile of
  // that name (the current profile then serves the copy).
  virtual bool copyProfile(const OdString& from, const OdString& to);
  // Removes a profile from the tree and deletes its key in the store at
  // once; a deleted current profile leaves none current.
  virtual bool deleteProfile(const OdString& name);
  // Moves a profile with its description to a name no profile has (a missing
  // source, created first, gives an empty one); the current profile stays
  // current under the new name ("CurProfile" follows).
  virtual bool renameProfile(const OdString& from, const OdString& to);
  // Empties an existing profile; its name (and nothing else) stays.
  virtual bool resetProfile(const OdString& name);
  // Loads a profile from a storage (the profiles root of the store when
  // empty) under the given name, replacing a profile of that name; when that
  // is the current profile, the imported one becomes current.
  virtual bool importProfile(const OdString& name, std::shared_ptr<ConfigStorageBase> storage);
  // Writes an existing profile to a storage (see Decisions).
  virtual bool exportProfile(const OdString& name, std::shared_ptr<ConfigStorageBase> storage) const;

  // The current profile (empty when none) and its name ("" when none).
  ConfigNodePtr currentProfile() const { return m_currentProfile; }
  OdString currentProfileName() const;
  // Writes every change of the tree to the store: each live profile through
  // exportProfile(), then the deleted profiles, then the root's own values.
  // True only when every step succeeded; true with no tree.
  bool flush() const;
  // Drops the tree and loads it afresh from the store, keeping the current
  // profile by name (or taking the one the store records). False when the
  // store holds no profiles key: the tree is then empty, none is current.
  bool reset();

 private:
  OdString storedCurrentName() const;
  // Drops the record of `name` as the current profile, if it is the one
  // recorded (the next flush deletes it from the store).
  void forgetCurrentName(const OdString& name);

  ConfigNodePtr m_profiles;
  ConfigNodePtr m_currentProfile;
};

// --- Profiles for the user-interface side (wxString) -------------------------
//
// Each forwards to the manager installed with Config::initConfig and reports
// failures with wxLogError. None of them flushes: the caller does, with
// Config::flush().

// A new, empty profile with a description; false when one of that name exists.
UT_EXPORT bool createProfile(const wxString& name, const wxString& description);
UT_EXPORT bool deleteProfile(const wxString& name);
// False when `to` exists or `from` does not.
UT_EXPORT bool renameProfile(const wxString& from, const wxString& to);
UT_EXPORT bool resetProfile(const wxString& name);
// Writes a profile, as the tree holds it (unflushed changes included), to a
// registry-export file that it replaces: its key line, its description as the
// value "Description", then its groups. Values the tree carries without
// reading them (binary data, multi-strings, wide numbers, any other type
// number) are written as the hex forms they came in. Failures, with the group
// exporter's words: "Bad arguments", "Config group not found: %ls" (the
// profile's key path), "Failed to open file %ls", "Failed to create file
// %ls", "Failed to write to file %ls".
UT_EXPORT bool exportProfile(const wxString& name, const wxString& fileName);
// Reads a profile exported by exportProfile (or a registry export of one
// profile key, UTF-16 or UTF-8) under a new name; an empty name takes the
// file's. An empty description keeps the file's (its "Description" value or
// the profile key's default value). Every value is kept: strings, expandable
// strings (unexpanded) and numbers that fit in 32 bits become settings;
// anything else is carried byte for byte and reaches the store unchanged
// with the next flush. Only a value whose name holds a "/" is skipped, with a
// warning. The file's shape is checked before anything changes: "File not
// found: \"%ls\"", "File \"%ls\" is not a profile of the application".
UT_EXPORT bool importProfile(const wxString& fileName, const wxString& name, const wxString& description);
UT_EXPORT bool profileExists(const wxString& name);
UT_EXPORT void getProfileNames(wxArrayString& names);
UT_EXPORT wxString getCurrentProfileName();
UT_EXPORT bool setCurrentProfileName(const wxString& name);
UT_EXPORT wxString getProfileDescription(const wxString& name);
UT_EXPORT bool setProfileDescription(const wxString& name, const wxString& description);
// The name of the profile an export file holds; empty, with the messages of
// importProfile, when the file is missing or not a profile export.
UT_EXPORT wxString getProfileNameFromFile(const wxString& fileName);

}  // namespace ut
