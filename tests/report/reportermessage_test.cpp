#include <gtest/gtest.h>

#include <ut/ut_reporter_message.h>

#include "DbObject.h"

#include <initializer_list>
#include <string>
#include <typeinfo>
#include <vector>

using ut::IReporterMessage;
using ut::ReporterMessage;
using ut::ReporterMessageCustomCallback;
using ut::ReporterMessageFSP;
using ut::ReporterMessageObjectId;
using ut::ReporterMessageRegistry;

namespace {

// Registers an identifier for one test and removes it again.
class RegisteredKind {
 public:
  RegisteredKind(const char* id, IReporterMessage::ESeverity severity, const std::wstring& text) : m_id(id) {
    ReporterMessageRegistry::instance().registerMessage(id, severity, IReporterMessage::eHighlightLong, text);
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
  EXPECT_TRUE(a < b && !(b < a));
  EXPECT_TRUE(b > a && !(a > b));
  EXPECT_TRUE(a != b && !(a == b));
}

void expectEquivalent(const IReporterMessage& a, const IReporterMessage& b) {
  EXPECT_FALSE(a < b || b < a || a > b || a != b);
  EXPECT_TRUE(a == b);
}

}  // namespace

// --- registry and construction -----------------------------------------------------------

TEST(ReporterMessageTest, IdentityIsTheAddressAndUnregisteredIdentifiersGetTheDefaults) {
  ASSERT_NE(static_cast<const void*>(kOpenFailed), static_cast<const void*>(kOpenFailedTwin));
  const RegisteredKind kind(kOpenFailed, IReporterMessage::eSeverityWarning, L"Could not open");
  const ReporterMessage message(kOpenFailed);
  EXPECT_EQ(message.id(), kOpenFailed);
  EXPECT_EQ(message.message(), L"Could not open");
  EXPECT_EQ(message.additionalInfo(), L"");
  EXPECT_EQ(message.severity(), IReporterMessage::eSeverityWarning);
  EXPECT_EQ(message.highlightDuration(), IReporterMessage::eHighlightLong);
  // The same text at another address is another, unregistered identifier.
  const std::string copy = kOpenFailed;
  for (const char* other : {kOpenFailedTwin, copy.c_str(), kUnknown}) {
    const ReporterMessage plain(other);
    const ReporterMessageFSP fsp(other);
    const ReporterMessageObjectId ids(other);
    const ReporterMessageCustomCallback callback(other);
    for (const IReporterMessage* m : std::initializer_list<const IReporterMessage*>{&plain, &fsp, &ids, &callback}) {
      EXPECT_EQ(m->id(), other);
      EXPECT_EQ(m->severity(), IReporterMessage::eSeverityMessage);
      EXPECT_EQ(m->highlightDuration(), IReporterMessage::eHighlightNone);
      EXPECT_TRUE(m->message().empty());
    }
  }
}

// --- ordering -----------------------------------------------------------------------------

TEST(ReporterMessageOrderTest, CommonFieldsDecideInTurn) {
  const ReporterMessage open(kOpenFailed);
  ReporterMessage layer(kLayerMissing);
  layer.setMessage(L"a");  // text must not matter when the identifiers differ
  if (std::less<const char*>()(kOpenFailed, kLayerMissing)) {
    expectOrdered(open, layer);
  } else {
    expectOrdered(layer, open);
  }
  ReporterMessage x(kUnknown), y(kUnknown);
  expectEquivalent(x, y);
  x.setMessage(L"b");
  y.setMessage(L"a");
  y.setAdditionalInfo(L"zzz");
  expectOrdered(y, x);  // text before additional info
  y.setMessage(L"B");
  expectOrdered(y, x);  // texts by code unit: 'B' (0x42) before 'b' (0x62)
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

TEST(ReporterMessageOrderTest, ObjectIdMessagesOrderByCountThenIds) {
  const OdDbObjectId first = newObjectId();
  const OdDbObjectId second = newObjectId();
  ASSERT_TRUE(first < second);
  ReporterMessageObjectId none(kUnknown), one(kUnknown), two(kUnknown);
  one.addObjectId(second);
  two.addObjectId(first);
  two.addObjectId(first);
  expectOrdered(none, one);
  expectOrdered(one, two);  // fewer identifiers first, whatever they are
  ReporterMessageObjectId low(kUnknown), high(kUnknown);
  low.setObjectIdArray(OdArray<OdDbObjectId>{first, second});
  high.setObjectIdArray(OdArray<OdDbObjectId>{second, first});
  expectOrdered(low, high);
  high.setObjectIdArray(low.objectIdArray());
  expectEquivalent(low, high);
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
  for (const IReporterMessage* a : all) {
    for (const IReporterMessage* b : all) expectEquivalent(*a, *b);
  }
  // A difference in the common fields orders them whatever their kinds.
  ids.setAdditionalInfo(L"1");
  fsp.setAdditionalInfo(L"2");
  callback.setAdditionalInfo(L"3");
  expectOrdered(plain, ids);
  expectOrdered(ids, fsp);
  expectOrdered(fsp, callback);
}
