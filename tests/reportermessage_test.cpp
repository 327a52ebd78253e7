#include <gtest/gtest.h>

#include <ut/ut_reporter_message.h>

#include "DbObject.h"

#include <wx/arrstr.h>
#include <wx/translation.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using ut::IReporterMessage;
using ut::ReporterMessage;
using ut::ReporterMessageCustomCallback;
using ut::ReporterMessageFSP;
using ut::ReporterMessageObjectId;
using ut::ReporterMessageRegistry;

namespace {

// Each test registers its own identifiers and removes them again.
class RegisteredKind {
 public:
  RegisteredKind(const char* id, IReporterMessage::ESeverity severity, IReporterMessage::EHighlightDuration duration,
                 const std::wstring& text)
      : m_id(id) {
    ReporterMessageRegistry::instance().registerMessage(id, severity, duration, text);
  }
  ~RegisteredKind() { ReporterMessageRegistry::instance().unregisterMessage(m_id); }
  RegisteredKind(const RegisteredKind&) = delete;
  RegisteredKind& operator=(const RegisteredKind&) = delete;

 private:
  const char* m_id;
};

const char kOpenFailed[] = "OPEN_FAILED";
const char kOpenFailedTwin[] = "OPEN_FAILED";  // same text, another address
const char kLayerMissing[] = "LAYER_MISSING";
const char kUnknown[] = "NEVER_REGISTERED";

OdDbObjectId newObjectId() { return OdDbObjectStore::add(OdDbObject::createObject()); }

// a < b strictly, and every derived operator agrees.
void expectOrdered(const IReporterMessage& a, const IReporterMessage& b) {
  EXPECT_TRUE(a < b);
  EXPECT_FALSE(b < a);
  EXPECT_TRUE(b > a);
  EXPECT_FALSE(a > b);
  EXPECT_TRUE(a != b);
  EXPECT_FALSE(a == b);
}

void expectEquivalent(const IReporterMessage& a, const IReporterMessage& b) {
  EXPECT_FALSE(a < b);
  EXPECT_FALSE(b < a);
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a != b);
  EXPECT_FALSE(a > b);
}

// --- registry -------------------------------------------------------------------------------

TEST(ReporterMessageRegistryTest, IdentityIsTheAddressNotTheText) {
  ASSERT_NE(static_cast<const void*>(kOpenFailed), static_cast<const void*>(kOpenFailedTwin));
  const RegisteredKind kind(kOpenFailed, IReporterMessage::eSeverityError, IReporterMessage::eHighlightLong,
                            L"Could not open the drawing");
  const ReporterMessageRegistry& registry = ReporterMessageRegistry::instance();
  EXPECT_EQ(registry.severity(kOpenFailed), IReporterMessage::eSeverityError);
  EXPECT_EQ(registry.highlightDuration(kOpenFailed), IReporterMessage::eHighlightLong);
  EXPECT_EQ(registry.message(kOpenFailed), L"Could not open the drawing");

  EXPECT_EQ(registry.severity(kOpenFailedTwin), IReporterMessage::eSeverityMessage);
  EXPECT_EQ(registry.highlightDuration(kOpenFailedTwin), IReporterMessage::eHighlightNone);
  EXPECT_EQ(registry.message(kOpenFailedTwin), L"");
  const std::string copy = kOpenFailed;
  EXPECT_EQ(registry.message(copy.c_str()), L"");
}

TEST(ReporterMessageRegistryTest, UnregisteredDefaultsAndSharedEmptyText) {
  const ReporterMessageRegistry& registry = ReporterMessageRegistry::instance();
  EXPECT_EQ(registry.severity(kUnknown), 2);
  EXPECT_EQ(registry.highlightDuration(kUnknown), 0);
  EXPECT_TRUE(registry.message(kUnknown).empty());
  EXPECT_EQ(&registry.message(kUnknown), &registry.message(kOpenFailedTwin));
}

TEST(ReporterMessageRegistryTest, SecondRegistrationReplacesAndUnregisterForgets) {
  ReporterMessageRegistry& registry = ReporterMessageRegistry::instance();
  registry.registerMessage(kLayerMissing, IReporterMessage::eSeverityWarning, IReporterMessage::eHighlightShort,
                           std::wstring(L"first"));
  registry.registerMessage(kLayerMissing, IReporterMessage::eSeverityError, IReporterMessage::eHighlightLong,
                           std::wstring(L"second"));
  EXPECT_EQ(registry.severity(kLayerMissing), IReporterMessage::eSeverityError);
  EXPECT_EQ(registry.highlightDuration(kLayerMissing), IReporterMessage::eHighlightLong);
  EXPECT_EQ(registry.message(kLayerMissing), L"second");
  registry.unregisterMessage(kLayerMissing);
  registry.unregisterMessage(kLayerMissing);  // twice is harmless
  EXPECT_EQ(registry.severity(kLayerMissing), IReporterMessage::eSeverityMessage);
  EXPECT_EQ(registry.message(kLayerMissing), L"");
}

TEST(ReporterMessageRegistryTest, NarrowTextIsWidenedByteByByte) {
  ReporterMessageRegistry& registry = ReporterMessageRegistry::instance();
  // "Größe" in Latin-1, and the same word in UTF-8: each byte one character.
  registry.registerMessage(kLayerMissing, IReporterMessage::eSeverityWarning, IReporterMessage::eHighlightShort,
                           std::string("Gr\xf6\xdf" "e"));
  EXPECT_EQ(registry.message(kLayerMissing), L"Gr\u00f6\u00dfe");
  registry.registerMessage(kLayerMissing, IReporterMessage::eSeverityWarning, IReporterMessage::eHighlightShort,
                           std::string("\xc3\xb6"));
  EXPECT_EQ(registry.message(kLayerMissing), L"\u00c3\u00b6");
  registry.unregisterMessage(kLayerMissing);
}

// --- construction -----------------------------------------------------------------------------

TEST(ReporterMessageTest, ConstructionTakesTheRegisteredRecord) {
  const RegisteredKind kind(kOpenFailed, IReporterMessage::eSeverityWarning, IReporterMessage::eHighlightLong,
                            L"Could not open");
  const ReporterMessage message(kOpenFailed);
  EXPECT_EQ(message.id(), kOpenFailed);
  EXPECT_EQ(message.message(), L"Could not open");
  EXPECT_EQ(message.additionalInfo(), L"");
  EXPECT_EQ(message.severity(), IReporterMessage::eSeverityWarning);
  EXPECT_EQ(message.highlightDuration(), IReporterMessage::eHighlightLong);
}

TEST(ReporterMessageTest, UnregisteredIdentifierGivesDefaults) {
  const ReporterMessage plain(kUnknown);
  const ReporterMessageFSP fsp(kUnknown);
  const ReporterMessageObjectId ids(kUnknown);
  const ReporterMessageCustomCallback callback(kUnknown);
  for (const IReporterMessage* m : std::initializer_list<const IReporterMessage*>{&plain, &fsp, &ids, &callback}) {
    EXPECT_EQ(m->id(), kUnknown);
    EXPECT_EQ(m->severity(), IReporterMessage::eSeverityMessage);
    EXPECT_EQ(m->highlightDuration(), IReporterMessage::eHighlightNone);
    EXPECT_TRUE(m->message().empty());
  }
}

TEST(ReporterMessageTest, RegistryChangesAfterConstructionDoNotReachTheMessage) {
  std::unique_ptr<ReporterMessage> message;
  {
    const RegisteredKind kind(kOpenFailed, IReporterMessage::eSeverityError, IReporterMessage::eHighlightShort,
                              L"before");
    message = std::make_unique<ReporterMessage>(kOpenFailed);
  }
  EXPECT_EQ(message->message(), L"before");
  EXPECT_EQ(message->severity(), IReporterMessage::eSeverityError);
}

TEST(ReporterMessageTest, SettersAndRichKindAccessors) {
  ReporterMessageFSP fsp(kUnknown);
  fsp.setId(kOpenFailed);
  fsp.setMessage(L"text");
  fsp.setAdditionalInfo(L"more");
  fsp.setSeverity(IReporterMessage::eSeverityError);
  fsp.setHighlightDuration(IReporterMessage::eHighlightLong);
  fsp.setFileName(L"a.dwg");
  fsp.setBlockName(L"*Model_Space");
  fsp.setEntityHandle(OdDbHandle(0x2A));
  const OdDbObjectId entity = newObjectId();
  fsp.addFullSubentPath(OdDbFullSubentPath(entity, OdDbSubentId(OdDb::kEdgeSubentType, 3)));
  EXPECT_EQ(fsp.id(), kOpenFailed);
  EXPECT_EQ(fsp.message(), L"text");
  EXPECT_EQ(fsp.additionalInfo(), L"more");
  EXPECT_EQ(fsp.fileName(), OdString(L"a.dwg"));
  EXPECT_EQ(fsp.blockName(), OdString(L"*Model_Space"));
  EXPECT_EQ(fsp.entityHandle().value(), 0x2Au);
  ASSERT_EQ(fsp.fullSubentPathArray().size(), 1u);
  EXPECT_EQ(fsp.fullSubentPathArray()[0].objectIds()[0], entity);

  // The array accessor hands out a copy.
  OdArray<OdDbFullSubentPath> paths = fsp.fullSubentPathArray();
  paths.append(OdDbFullSubentPath());
  EXPECT_EQ(fsp.fullSubentPathArray().size(), 1u);
  fsp.setFullSubentPathArray(paths);
  EXPECT_EQ(fsp.fullSubentPathArray().size(), 2u);

  ReporterMessageObjectId ids(kUnknown);
  ids.addObjectId(entity);
  OdArray<OdDbObjectId> copy = ids.objectIdArray();
  copy.append(entity);
  EXPECT_EQ(ids.objectIdArray().size(), 1u);
  ids.setObjectIdArray(copy);
  EXPECT_EQ(ids.objectIdArray().size(), 2u);

  ReporterMessageCustomCallback callback(kUnknown);
  EXPECT_EQ(callback.callbackFunction(), nullptr);
  callback.setCallbackName(L"zoom");
  callback.setCallbackFunction([] { return ut::eReporterCallbackDone; });
  EXPECT_EQ(callback.callbackName(), OdString(L"zoom"));
  ASSERT_NE(callback.callbackFunction(), nullptr);
  EXPECT_EQ(callback.callbackFunction()(), ut::eReporterCallbackDone);
}

TEST(ReporterMessageTest, CloneIsADeepCopyOfTheSameKind) {
  ReporterMessageObjectId original(kUnknown);
  original.setAdditionalInfo(L"info");
  original.addObjectId(newObjectId());
  const std::shared_ptr<IReporterMessage> clone = original.clone();
  auto* typed = dynamic_cast<ReporterMessageObjectId*>(clone.get());
  ASSERT_NE(typed, nullptr);
  EXPECT_TRUE(*clone == original);
  typed->addObjectId(newObjectId());
  typed->setAdditionalInfo(L"changed");
  EXPECT_EQ(original.objectIdArray().size(), 1u);
  EXPECT_EQ(original.additionalInfo(), L"info");

  ReporterMessageFSP fsp(kUnknown);
  fsp.setFileName(L"f.dwg");
  const std::shared_ptr<IReporterMessage> fspClone = fsp.clone();
  ASSERT_NE(dynamic_cast<ReporterMessageFSP*>(fspClone.get()), nullptr);
  EXPECT_EQ(dynamic_cast<ReporterMessageFSP&>(*fspClone).fileName(), OdString(L"f.dwg"));

  ReporterMessageCustomCallback callback(kUnknown);
  callback.setCallbackName(L"cb");
  const std::shared_ptr<IReporterMessage> callbackClone = callback.clone();
  ASSERT_NE(dynamic_cast<ReporterMessageCustomCallback*>(callbackClone.get()), nullptr);
  EXPECT_EQ(dynamic_cast<ReporterMessageCustomCallback&>(*callbackClone).callbackName(), OdString(L"cb"));

  const ReporterMessage plain(kUnknown);
  const std::shared_ptr<IReporterMessage> plainClone = plain.clone();
  EXPECT_EQ(dynamic_cast<ReporterMessageFSP*>(plainClone.get()), nullptr);
  EXPECT_NE(dynamic_cast<ReporterMessage*>(plainClone.get()), nullptr);
}

TEST(ReporterMessageTest, CopyAndAssignmentTakeEveryField) {
  ReporterMessageFSP a(kUnknown);
  a.setFileName(L"a.dwg");
  a.setAdditionalInfo(L"x");
  ReporterMessageFSP b(kOpenFailed);
  b = a;
  EXPECT_EQ(b.id(), kUnknown);
  EXPECT_EQ(b.fileName(), OdString(L"a.dwg"));
  EXPECT_EQ(b.additionalInfo(), L"x");
  const ReporterMessageFSP c(b);
  EXPECT_TRUE(c == a);
}

// --- ordering -----------------------------------------------------------------------------

TEST(ReporterMessageOrderTest, CommonFieldsDecideInTurn) {
  const bool openFirst = std::less<const char*>()(kOpenFailed, kLayerMissing);
  const ReporterMessage open(kOpenFailed);
  ReporterMessage layer(kLayerMissing);
  layer.setMessage(L"a");  // text must not matter when the identifiers differ
  if (openFirst)
    expectOrdered(open, layer);
  else
    expectOrdered(layer, open);

  ReporterMessage x(kUnknown), y(kUnknown);
  expectEquivalent(x, y);
  x.setMessage(L"b");
  y.setMessage(L"a");
  y.setAdditionalInfo(L"zzz");
  expectOrdered(y, x);  // text before additional info
  y.setMessage(L"b");
  x.setAdditionalInfo(L"zz");
  expectOrdered(x, y);  // "zz" < "zzz"
  x.setAdditionalInfo(L"zzz");
  x.setSeverity(IReporterMessage::eSeverityError);
  y.setSeverity(IReporterMessage::eSeverityWarning);
  y.setHighlightDuration(IReporterMessage::eHighlightNone);
  x.setHighlightDuration(IReporterMessage::eHighlightLong);
  expectOrdered(x, y);  // severity before duration
  y.setSeverity(IReporterMessage::eSeverityError);
  expectOrdered(y, x);
  y.setHighlightDuration(IReporterMessage::eHighlightLong);
  expectEquivalent(x, y);
}

TEST(ReporterMessageOrderTest, TextsCompareByCodeUnit) {
  ReporterMessage lower(kUnknown), upper(kUnknown), accented(kUnknown);
  lower.setMessage(L"a");
  upper.setMessage(L"B");
  accented.setMessage(L"\u00e0");
  expectOrdered(upper, lower);  // 'B' (0x42) before 'a' (0x61)
  expectOrdered(lower, accented);
}

TEST(ReporterMessageOrderTest, ObjectIdMessagesOrderByCountThenIds) {
  const OdDbObjectId first = newObjectId();
  const OdDbObjectId second = newObjectId();
  ASSERT_TRUE(first < second);

  ReporterMessageObjectId one(kUnknown), two(kUnknown);
  one.addObjectId(second);
  two.addObjectId(first);
  two.addObjectId(first);
  expectOrdered(one, two);  // fewer identifiers first, whatever they are

  ReporterMessageObjectId low(kUnknown), high(kUnknown);
  low.addObjectId(first);
  low.addObjectId(second);
  high.addObjectId(second);
  high.addObjectId(first);
  expectOrdered(low, high);
  high.setObjectIdArray(low.objectIdArray());
  expectEquivalent(low, high);

  const ReporterMessageObjectId none(kUnknown), alsoNone(kUnknown);
  expectEquivalent(none, alsoNone);
  expectOrdered(none, one);

  // Common fields come first.
  two.setMessage(L"a");
  one.setMessage(L"b");
  expectOrdered(two, one);
}

TEST(ReporterMessageOrderTest, FspMessagesOrderByFileBlockThenPaths) {
  const OdDbObjectId entity = newObjectId();
  const OdDbObjectId later = newObjectId();
  ReporterMessageFSP a(kUnknown), b(kUnknown);
  a.setFileName(L"a.dwg");
  b.setFileName(L"b.dwg");
  a.setBlockName(L"Z");
  expectOrdered(a, b);  // file name before block name

  b.setFileName(L"a.dwg");
  b.setBlockName(L"Y");
  expectOrdered(b, a);

  b.setBlockName(L"Z");
  a.addFullSubentPath(OdDbFullSubentPath(entity, OdDbSubentId(OdDb::kEdgeSubentType, 2)));
  b.addFullSubentPath(OdDbFullSubentPath(entity, OdDbSubentId(OdDb::kEdgeSubentType, 1)));
  expectOrdered(b, a);
  b.setFullSubentPathArray(a.fullSubentPathArray());
  expectEquivalent(a, b);
  b.addFullSubentPath(OdDbFullSubentPath(entity, OdDbSubentId()));
  expectOrdered(a, b);  // a prefix comes first
  a.addFullSubentPath(OdDbFullSubentPath(later, OdDbSubentId()));
  expectOrdered(b, a);

  // The handle is not part of the order.
  ReporterMessageFSP c(kUnknown), d(kUnknown);
  c.setEntityHandle(OdDbHandle(1));
  d.setEntityHandle(OdDbHandle(2));
  expectEquivalent(c, d);
}

TEST(ReporterMessageOrderTest, CallbackMessagesOrderByNameOnly) {
  ReporterMessageCustomCallback a(kUnknown), b(kUnknown);
  a.setCallbackName(L"alpha");
  b.setCallbackName(L"beta");
  b.setCallbackFunction([] { return ut::eReporterCallbackFailed; });
  expectOrdered(a, b);
  b.setCallbackName(L"alpha");
  expectEquivalent(a, b);
}

TEST(ReporterMessageOrderTest, MixedKindsCompareOnCommonFieldsOnly) {
  ReporterMessage plain(kUnknown);
  ReporterMessageObjectId ids(kUnknown);
  ReporterMessageFSP fsp(kUnknown);
  ReporterMessageCustomCallback callback(kUnknown);
  ids.addObjectId(newObjectId());
  fsp.setFileName(L"x.dwg");
  callback.setCallbackName(L"cb");
  const std::vector<const IReporterMessage*> all{&plain, &ids, &fsp, &callback};
  for (const IReporterMessage* a : all)
    for (const IReporterMessage* b : all) expectEquivalent(*a, *b);

  // A difference in the common fields orders them whatever their kinds.
  ids.setAdditionalInfo(L"1");
  fsp.setAdditionalInfo(L"2");
  callback.setAdditionalInfo(L"3");
  expectOrdered(plain, ids);
  expectOrdered(ids, fsp);
  expectOrdered(fsp, callback);
  expectOrdered(plain, callback);
}

TEST(ReporterMessageOrderTest, SortsAndDeduplicatesThroughSharedPointers) {
  std::vector<std::shared_ptr<IReporterMessage>> messages;
  for (const wchar_t* text : {L"c", L"a", L"b", L"a", L"c"}) {
    auto m = std::make_shared<ReporterMessage>(kUnknown);
    m->setMessage(text);
    messages.push_back(m);
  }
  const auto less = [](const auto& a, const auto& b) { return *a < *b; };
  std::sort(messages.begin(), messages.end(), less);
  messages.erase(std::unique(messages.begin(), messages.end(), [](const auto& a, const auto& b) { return *a == *b; }),
                 messages.end());
  ASSERT_EQ(messages.size(), 3u);
  EXPECT_EQ(messages[0]->message(), L"a");
  EXPECT_EQ(messages[1]->message(), L"b");
  EXPECT_EQ(messages[2]->message(), L"c");
}

// --- translation ---------------------------------------------------------------------------

// A binary message catalogue (the gettext .mo layout, little-endian) holding
// `entries`, which must be sorted by original text.
std::string buildCatalogue(const std::vector<std::pair<std::string, std::string>>& entries) {
  const auto n = static_cast<std::uint32_t>(entries.size());
  std::string out;
  const auto put = [&out](std::uint32_t v) {
    for (int i = 0; i < 4; ++i) out += static_cast<char>((v >> (8 * i)) & 0xff);
  };
  const std::uint32_t originals = 28, translations = originals + 8 * n, strings = translations + 8 * n;
  put(0x950412de);
  put(0);
  put(n);
  put(originals);
  put(translations);
  put(0);
  put(strings);
  std::string pool;
  std::vector<std::uint32_t> table;
  for (int pass = 0; pass < 2; ++pass) {
    for (const auto& [original, translated] : entries) {
      const std::string& s = pass == 0 ? original : translated;
      table.push_back(static_cast<std::uint32_t>(s.size()));
      table.push_back(strings + static_cast<std::uint32_t>(pool.size()));
      pool += s;
      pool += '\0';
    }
  }
  for (std::uint32_t v : table) put(v);
  return out + pool;
}

class MemoryLoader : public wxTranslationsLoader {
 public:
  explicit MemoryLoader(std::string data) : m_data(std::move(data)) {}
  wxMsgCatalog* LoadCatalog(const wxString& domain, const wxString& lang) override {
    if (domain != "uttest" || !lang.StartsWith("fr")) return nullptr;
    return wxMsgCatalog::CreateFromData(wxScopedCharBuffer::CreateNonOwned(m_data.data(), m_data.size()), domain);
  }
  wxArrayString GetAvailableTranslations(const wxString&) const override {
    wxArrayString languages;
    languages.Add("fr");
    return languages;
  }

 private:
  std::string m_data;
};

// Installs a French catalogue for the test and removes it again.
class FrenchCatalogue {
 public:
  FrenchCatalogue() {
    auto translations = std::make_unique<wxTranslations>();
    translations->SetLoader(new MemoryLoader(buildCatalogue({
        {"", "Content-Type: text/plain; charset=UTF-8\n"},
        {"Could not open", "Ouverture impossible"},
        {"Layer \xc3\xa0 missing", "Calque \xc3\xa0 absent"},
    })));
    translations->SetLanguage("fr");
    m_loaded = translations->AddCatalog("uttest");
    wxTranslations::Set(translations.release());
  }
  ~FrenchCatalogue() { wxTranslations::Set(nullptr); }
  FrenchCatalogue(const FrenchCatalogue&) = delete;
  FrenchCatalogue& operator=(const FrenchCatalogue&) = delete;
  bool loaded() const { return m_loaded; }

 private:
  bool m_loaded = false;
};

TEST(ReporterMessageTranslationTest, RegisteredTextIsTranslatedWhenACatalogueKnowsIt) {
  const RegisteredKind open(kOpenFailed, IReporterMessage::eSeverityError, IReporterMessage::eHighlightShort,
                            L"Could not open");
  const RegisteredKind layer(kLayerMissing, IReporterMessage::eSeverityError, IReporterMessage::eHighlightShort,
                             L"Layer \u00e0 missing");
  const RegisteredKind other(kOpenFailedTwin, IReporterMessage::eSeverityError, IReporterMessage::eHighlightShort,
                             L"Not in the catalogue");
  EXPECT_EQ(ReporterMessage(kOpenFailed).message(), L"Could not open");  // no catalogue yet
  {
    const FrenchCatalogue french;
    ASSERT_TRUE(french.loaded());
    EXPECT_EQ(ReporterMessage(kOpenFailed).message(), L"Ouverture impossible");
    EXPECT_EQ(ReporterMessageObjectId(kLayerMissing).message(), L"Calque \u00e0 absent");
    EXPECT_EQ(ReporterMessage(kOpenFailedTwin).message(), L"Not in the catalogue");
    // The empty text stays empty although the catalogue has an entry for it.
    EXPECT_EQ(ReporterMessage(kUnknown).message(), L"");
    // The registry itself keeps the original.
    EXPECT_EQ(ReporterMessageRegistry::instance().message(kOpenFailed), L"Could not open");
  }
  EXPECT_EQ(ReporterMessage(kOpenFailed).message(), L"Could not open");
}

}  // namespace
