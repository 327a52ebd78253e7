// The desktop secret service through libsecret, every call bounded in time.

#include "ut_platform_secret.h"

#include <libsecret/secret.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace ut::platform {
namespace {

// Items are matched by attributes only, whatever schema wrote them, so that
// secrets filed by other tools under the same target are found too.
const SecretSchema kSchema = {"ut.Secret",
                              SECRET_SCHEMA_DONT_MATCH_NAME,
                              {{"target", SECRET_SCHEMA_ATTRIBUTE_STRING},
                               {"user", SECRET_SCHEMA_ATTRIBUTE_STRING},
                               {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                              0,
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr};

// A cancellable that cancels itself after a timeout: libsecret's calls then
// return with G_IO_ERROR_CANCELLED instead of waiting for a service that does
// not answer.
class Deadline {
 public:
  explicit Deadline(std::chrono::milliseconds timeout) : m_cancellable(g_cancellable_new()) {
    m_timer = std::thread([this, timeout] {
      std::unique_lock lock(m_mutex);
      if (!m_done.wait_for(lock, timeout, [this] { return m_finished; })) g_cancellable_cancel(m_cancellable);
    });
  }
  ~Deadline() {
    {
      std::lock_guard lock(m_mutex);
      m_finished = true;
    }
    m_done.notify_one();
    m_timer.join();
    g_object_unref(m_cancellable);
  }
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

  GCancellable* cancellable() const { return m_cancellable; }

 private:
  GCancellable* m_cancellable;
  std::mutex m_mutex;
  std::condition_variable m_done;
  bool m_finished = false;
  std::thread m_timer;
};

// Owns a GError out-parameter.
struct ErrorHolder {
  GError* error = nullptr;
  ~ErrorHolder() {
    if (error != nullptr) g_error_free(error);
  }
};

// Owns an attribute table of borrowed strings.
class Attributes {
 public:
  Attributes() : m_table(g_hash_table_new(g_str_hash, g_str_equal)) {}
  ~Attributes() { g_hash_table_unref(m_table); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;

  Attributes& add(const char* name, const std::string& value) {
    g_hash_table_insert(m_table, const_cast<char*>(name), const_cast<char*>(value.c_str()));
    return *this;
  }
  GHashTable* table() const { return m_table; }

 private:
  GHashTable* m_table;
};

SecretService* connect(GCancellable* cancellable) {
  ErrorHolder error;
  return secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, cancellable, &error.error);
}

// Removes every item under `target`; true when at least one went. The caller
// holds the service connection.
bool clearTarget(SecretService* service, const std::string& target, GCancellable* cancellable) {
  Attributes attributes;
  attributes.add("target", target);
  ErrorHolder error;
  return secret_service_clear_sync(service, &kSchema, attributes.table(), cancellable, &error.error) != FALSE;
}

}  // namespace

bool secretServiceAvailable(std::chrono::milliseconds timeout) {
  Deadline deadline(timeout);
  SecretService* service = connect(deadline.cancellable());
  if (service == nullptr) return false;
  g_object_unref(service);
  return true;
}

bool saveSecret(const std::string& target, const std::string& user, const std::string& secret,
                std::chrono::milliseconds timeout) {
  if (target.empty()) return false;
  Deadline deadline(timeout);
  SecretService* service = connect(deadline.cancellable());
  if (service == nullptr) return false;
  clearTarget(service, target, deadline.cancellable());
  Attributes attributes;
  attributes.add("target", target).add("user", user);
  SecretValue* value = secret_value_new(secret.data(), static_cast<gssize>(secret.size()), "text/plain");
  ErrorHolder error;
  const gboolean stored = secret_service_store_sync(service, &kSchema, attributes.table(), SECRET_COLLECTION_DEFAULT,
                                                    target.c_str(), value, deadline.cancellable(), &error.error);
  secret_value_unref(value);
  g_object_unref(service);
  return stored != FALSE;
}

std::optional<StoredSecret> loadSecret(const std::string& target, std::chrono::milliseconds timeout) {
  if (target.empty()) return std::nullopt;
  Deadline deadline(timeout);
  SecretService* service = connect(deadline.cancellable());
  if (service == nullptr) return std::nullopt;
  Attributes attributes;
  attributes.add("target", target);
  ErrorHolder error;
  GList* items =
      secret_service_search_sync(service, &kSchema, attributes.table(),
                                 static_cast<SecretSearchFlags>(SECRET_SEARCH_UNLOCK | SECRET_SEARCH_LOAD_SECRETS),
                                 deadline.cancellable(), &error.error);
  std::optional<StoredSecret> found;
  if (items != nullptr) {
    auto* item = static_cast<SecretItem*>(items->data);
    if (SecretValue* value = secret_item_get_secret(item)) {
      gsize length = 0;
      const gchar* bytes = secret_value_get(value, &length);
      GHashTable* itemAttributes = secret_item_get_attributes(item);
      const auto* user = static_cast<const char*>(g_hash_table_lookup(itemAttributes, "user"));
      found = StoredSecret{user != nullptr ? user : "", std::string(bytes, length)};
      g_hash_table_unref(itemAttributes);
      secret_value_unref(value);
    }
    g_list_free_full(items, g_object_unref);
  }
  g_object_unref(service);
  return found;
}

bool removeSecret(const std::string& target, std::chrono::milliseconds timeout) {
  if (target.empty()) return false;
  Deadline deadline(timeout);
  SecretService* service = connect(deadline.cancellable());
  if (service == nullptr) return false;
  const bool removed = clearTarget(service, target, deadline.cancellable());
  g_object_unref(service);
  return removed;
}

}  // namespace ut::platform
