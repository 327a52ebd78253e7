#pragma once

// Helpers shared by the configuration tests.

#include <gtest/gtest.h>

#include <ut/ut_confignode.h>
#include <ut/ut_regstore.h>

#include <wx/log.h>
#include <wx/string.h>

#include <iterator>
#include <string>
#include <vector>

namespace ut::test {

// Collects what the library logs (wxLogError and friends) while it lives.
class LogCapture : public wxLog {
 public:
  LogCapture() : m_previous(wxLog::SetActiveTarget(this)) { wxLog::EnableLogging(true); }
  ~LogCapture() override { wxLog::SetActiveTarget(m_previous); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  const std::vector<std::wstring>& messages() const { return m_messages; }
  void clear() { m_messages.clear(); }

 protected:
  void DoLogRecord(wxLogLevel, const wxString& msg, const wxLogRecordInfo&) override {
    m_messages.push_back(msg.ToStdWstring());
  }

 private:
  wxLog* m_previous;
  std::vector<std::wstring> m_messages;
};

inline std::wstring str(const OdString& s) { return s.c_str(); }

// A value straight from the store (wxString, long...), bypassing every cache.
template <typename T>
bool storeValue(const wxString& key, const wxString& name, T& value) {
  RegKey k(eCurrentUser, key);
  return k.open(eRead) && k.queryValue(name, value);
}

inline const ConfigNodeBase* unwrapped(const ConfigNodeBase* node) {
  while (const auto* overlay = dynamic_cast<const ConfigReplacedNode*>(node)) node = overlay->wrapped().get();
  return node;
}

// Whether two trees hold the same keys and values. Paths are compared after
// dropping the first skipA / skipB characters, so that trees rooted at
// different places can be compared below their roots. Tombstones stand for
// nothing and are passed over; overlays count as the node they wrap.
inline ::testing::AssertionResult sameTree(const ConfigNodeBase* a, const ConfigNodeBase* b, int skipA = 0,
                                           int skipB = 0) {
  a = unwrapped(a);
  b = unwrapped(b);
  if (a == nullptr || b == nullptr) {
    return a == b ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << "one side is empty";
  }
  unsigned long na = 0;
  unsigned long nb = 0;
  OdString sa;
  OdString sb;
  const ConfigValRaw* ra = a->rawValue();
  const ConfigValRaw* rb = b->rawValue();
  if (a->path().mid(skipA) != b->path().mid(skipB) || a->type() != b->type() ||
      a->isContainerNode() != b->isContainerNode() || a->getULong(na) != b->getULong(nb) || na != nb ||
      a->getString(sa) != b->getString(sb) || sa != sb || (ra == nullptr) != (rb == nullptr) ||
      (ra != nullptr && (ra->registryType() != rb->registryType() || ra->data() != rb->data()))) {
    return ::testing::AssertionFailure() << "nodes differ: " << wxString(a->path().c_str()) << " against "
                                         << wxString(b->path().c_str());
  }
  const auto live = [](const ConfigNodeBase& node) {
    std::vector<const ConfigNodeBase*> out;
    for (const auto& c : node.children()) {
      if (unwrapped(c.get()) != nullptr && unwrapped(c.get())->type() != ConfigValBase::kNone) out.push_back(c.get());
    }
    return out;
  };
  const auto ca = live(*a);
  const auto cb = live(*b);
  if (ca.size() != cb.size())
    return ::testing::AssertionFailure() << "child counts differ at " << wxString(a->path().c_str());
  for (std::size_t i = 0; i < ca.size(); ++i) {
    if (auto r = sameTree(ca[i], cb[i], skipA, skipB); !r) return r;
  }
  return ::testing::AssertionSuccess();
}

// The same comparison below two roots: what each holds, wherever it lives.
inline ::testing::AssertionResult sameContent(const ConfigNodePtr& a, const ConfigNodePtr& b) {
  if (!a || !b) return ::testing::AssertionFailure() << "empty node";
  return sameTree(a.get(), b.get(), a->path().getLength(), b->path().getLength());
}

}  // namespace ut::test
