#include <gtest/gtest.h>

#include <ut/ut_reporter.h>

#include "DbObject.h"

#include <memory>
#include <string>
#include <vector>

using ut::IReporter;
using ut::IReporterMessage;
using ut::IReporterTarget;
using ut::ReporterMessageList;
using ut::ReporterMessageRegistry;

namespace {

const char kLayerMissing[] = "LAYER_MISSING";
const char kLayerMissingTwin[] = "LAYER_MISSING";  // same text, another kind
const char kFileDamaged[] = "FILE_DAMAGED";
const char kCounted[] = "COUNTED";
const char kVerbatim[] = "VERBATIM";
const char kBadNarrow[] = "BAD_NARROW";
const char kBadConversion[] = "BAD_CONVERSION";
const char kUnregistered[] = "UNREGISTERED";

// Registers the kinds the tests use for one test and removes them again.
class ReporterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    add(kLayerMissing, IReporterMessage::eSeverityWarning, L"Layer missing");
    add(kLayerMissingTwin, IReporterMessage::eSeverityMessage, L"Layer missing");
    add(kFileDamaged, IReporterMessage::eSeverityError, L"File damaged");
    add(kCounted, IReporterMessage::eSeverityMessage, L"Layer %ls holds %d objects");
    add(kVerbatim, IReporterMessage::eSeverityMessage, L"%ls");
    add(kBadNarrow, IReporterMessage::eSeverityMessage, L"name %s");
    add(kBadConversion, IReporterMessage::eSeverityMessage, L"rate 100%");
  }
  void TearDown() override {
    for (const char* id : m_ids) ReporterMessageRegistry::instance().unregisterMessage(id);
  }

 private:
  void add(const char* id, IReporterMessage::ESeverity severity, const std::wstring& text) {
    ReporterMessageRegistry::instance().registerMessage(id, severity, IReporterMessage::eHighlightShort, text);
    m_ids.push_back(id);
  }
  std::vector<const char*> m_ids;
};

// A target that records what it was handed.
class RecordingTarget : public IReporterTarget {
 public:
  void deliver(const std::wstring& title, const ReporterMessageList& messages) override {
    titles.push_back(title);
    counts.push_back(messages.size());
  }
  std::vector<std::wstring> titles;
  std::vector<std::size_t> counts;
};

// A host reporter: presenting counts the calls, delivering hands the report
// to every target.
class HostReporter : public IReporter {
 public:
  void showReport() override { ++shown; }
  void deliverToTargets() override {
    for (const auto& target : targets()) target->deliver(reportTitle(), messages());
  }
  using IReporter::setMessages;
  int shown = 0;
};

std::vector<std::wstring> infos(const IReporter& reporter) {
  std::vector<std::wstring> result;
  for (const auto& m : reporter.messages()) result.push_back(m->additionalInfo());
  return result;
}

OdDbObjectId newObjectId() { return OdDbObjectStore::add(OdDbObject::createObject()); }

}  // namespace

// --- duplicates, order and flags ---------------------------------------------------

TEST_F(ReporterTest, DuplicatesAreDroppedAndFirstArrivalOrderKept) {
  HostReporter reporter;
  reporter.addMessage(kLayerMissing, L"walls");
  reporter.addMessage(kLayerMissing, L"doors");
  reporter.addMessage(kLayerMissing, L"walls");
  reporter.addMessage(kLayerMissingTwin, L"walls");  // another kind: kept
  reporter.addMessage(kLayerMissing, L"doors");
  EXPECT_EQ(infos(reporter), (std::vector<std::wstring>{L"walls", L"doors", L"walls"}));
  EXPECT_EQ(reporter.messages()[2]->id(), kLayerMissingTwin);
  EXPECT_EQ(reporter.messages()[0]->message(), L"Layer missing");
}

TEST_F(ReporterTest, FlagsFollowSeverityAndSurviveClearing) {
  HostReporter reporter;
  reporter.addMessage(kLayerMissingTwin, L"plain");
  EXPECT_FALSE(reporter.hasWarnings());
  EXPECT_FALSE(reporter.hasErrors());
  reporter.addMessage(kLayerMissing, L"warning");
  EXPECT_TRUE(reporter.hasWarnings());
  EXPECT_FALSE(reporter.hasErrors());
  reporter.clearMessages();
  EXPECT_TRUE(reporter.messages().empty());
  EXPECT_TRUE(reporter.hasWarnings());
  reporter.addMessage(kFileDamaged, L"error");
  EXPECT_TRUE(reporter.hasErrors());
  reporter.clearMessages();
  EXPECT_TRUE(reporter.hasErrors());
}

TEST_F(ReporterTest, SetMessagesKeepsTheSameObjectsAndLeavesFlags) {
  HostReporter reporter;
  auto first = std::make_shared<ut::ReporterMessage>(kFileDamaged);
  auto second = std::make_shared<ut::ReporterMessage>(kFileDamaged);  // equivalent: kept anyway
  reporter.setMessages({first, second});
  ASSERT_EQ(reporter.messages().size(), 2u);
  EXPECT_EQ(reporter.messages()[0], first);
  EXPECT_EQ(reporter.messages()[1], second);
  EXPECT_FALSE(reporter.hasErrors());
  // Further adds scan what was set; a dropped duplicate sets no flag.
  reporter.addMessage(kFileDamaged, L"");
  EXPECT_EQ(reporter.messages().size(), 2u);
  EXPECT_FALSE(reporter.hasErrors());
}

// --- the drawing-aware kinds --------------------------------------------------------

ut::EReporterCallbackResult zoomTo() { return ut::eReporterCallbackDone; }

TEST_F(ReporterTest, DrawingAwareFormsFillTheirKinds) {
  HostReporter reporter;
  reporter.addMessage(kLayerMissing, OdString(L"Zoom"), OdString(L"to the walls"), &zoomTo);
  OdArray<OdDbObjectId> ids;
  ids.append(newObjectId());
  ids.append(newObjectId());
  reporter.addMessage(kLayerMissing, ids, OdString(L"two objects"), OdString(L"Own text"));
  reporter.addMessage(kLayerMissing, ids, OdString(L"registered text"), OdString());
  OdArray<OdDbFullSubentPath> paths;
  paths.append(OdDbFullSubentPath(ids[0], OdDbSubentId(OdDb::kEdgeSubentType, 3)));
  reporter.addMessage(kFileDamaged, paths, OdString(L"an edge"), OdString(), OdString(L"plan.dwg"),
                      OdString(L"*Model_Space"), OdDbHandle(0x2A));
  ASSERT_EQ(reporter.messages().size(), 4u);

  const auto* callback = dynamic_cast<const ut::ReporterMessageCustomCallback*>(reporter.messages()[0].get());
  ASSERT_NE(callback, nullptr);
  EXPECT_EQ(callback->callbackName(), OdString(L"Zoom"));
  EXPECT_EQ(callback->callbackFunction(), &zoomTo);
  EXPECT_EQ(callback->additionalInfo(), L"to the walls");

  const auto* objects = dynamic_cast<const ut::ReporterMessageObjectId*>(reporter.messages()[1].get());
  ASSERT_NE(objects, nullptr);
  EXPECT_EQ(objects->objectIdArray(), ids);
  EXPECT_EQ(objects->message(), L"Own text");
  EXPECT_EQ(reporter.messages()[2]->message(), L"Layer missing");

  const auto* fsp = dynamic_cast<const ut::ReporterMessageFSP*>(reporter.messages()[3].get());
  ASSERT_NE(fsp, nullptr);
  EXPECT_EQ(fsp->fullSubentPathArray(), paths);
  EXPECT_EQ(fsp->fileName(), OdString(L"plan.dwg"));
  EXPECT_EQ(fsp->blockName(), OdString(L"*Model_Space"));
  EXPECT_EQ(fsp->entityHandle(), OdDbHandle(0x2A));
  EXPECT_EQ(fsp->message(), L"File damaged");
  EXPECT_TRUE(reporter.hasErrors());
}

// --- formatting ------------------------------------------------------------------------

TEST_F(ReporterTest, FormattedMessagesFillTheRegisteredText) {
  HostReporter reporter;
  reporter.addFormattedMessage(kCounted, L"walls", 12);
  OdArray<OdDbObjectId> ids;
  ids.append(newObjectId());
  reporter.addFormattedMessage(ids, kCounted, L"doors", 3);
  OdArray<OdDbFullSubentPath> paths;
  paths.append(OdDbFullSubentPath(ids[0], OdDbSubentId(OdDb::kFaceSubentType, 1)));
  reporter.addFormattedMessage(paths, kCounted, L"roof", 1);
  reporter.addFormattedMessage(OdString(L"Select"), &zoomTo, kCounted, L"stairs", 0);
  ASSERT_EQ(reporter.messages().size(), 4u);
  EXPECT_EQ(reporter.messages()[0]->message(), L"Layer walls holds 12 objects");
  EXPECT_EQ(reporter.messages()[1]->message(), L"Layer doors holds 3 objects");
  EXPECT_EQ(dynamic_cast<const ut::ReporterMessageObjectId&>(*reporter.messages()[1]).objectIdArray(), ids);
  EXPECT_EQ(reporter.messages()[2]->message(), L"Layer roof holds 1 objects");
  EXPECT_EQ(dynamic_cast<const ut::ReporterMessageFSP&>(*reporter.messages()[2]).fullSubentPathArray(), paths);
  EXPECT_EQ(reporter.messages()[3]->message(), L"Layer stairs holds 0 objects");
  EXPECT_EQ(dynamic_cast<const ut::ReporterMessageCustomCallback&>(*reporter.messages()[3]).callbackName(),
            OdString(L"Select"));
  // The same formatted text twice is a duplicate.
  reporter.addFormattedMessage(kCounted, L"walls", 12);
  EXPECT_EQ(reporter.messages().size(), 4u);
}

TEST_F(ReporterTest, FormattedTextIsCutToTheBuffer) {
  struct Case {
    std::size_t length;
    std::size_t kept;
  };
  for (const Case c : {Case{0, 0}, Case{1022, 1022}, Case{1023, 1023}, Case{1024, 1023}, Case{5000, 1023}}) {
    HostReporter reporter;
    std::wstring text;
    for (std::size_t i = 0; i < c.length; ++i) text += static_cast<wchar_t>(L'a' + i % 26);
    reporter.addFormattedMessage(kVerbatim, text.c_str());
    ASSERT_EQ(reporter.messages().size(), 1u);
    EXPECT_EQ(reporter.messages()[0]->message(), text.substr(0, c.kept)) << "length " << c.length;
  }
}

TEST_F(ReporterTest, AFormatThatFailsKeepsTheRegisteredText) {
  HostReporter reporter;
  reporter.addFormattedMessage(kBadNarrow, "\xff\xfe not a character");
  reporter.addFormattedMessage(kBadConversion, 5);
  reporter.addFormattedMessage(kUnregistered, 5);
  ASSERT_EQ(reporter.messages().size(), 3u);
  EXPECT_EQ(reporter.messages()[0]->message(), L"name %s");
  EXPECT_EQ(reporter.messages()[1]->message(), L"rate 100%");
  EXPECT_EQ(reporter.messages()[2]->message(), L"");
}

// --- copying and moving between reporters ---------------------------------------------

TEST_F(ReporterTest, CopyAddsClonesOfTheNewMessagesOnly) {
  HostReporter source;
  source.addMessage(kLayerMissing, L"walls");
  source.addMessage(kFileDamaged, L"header");
  HostReporter target;
  target.addMessage(kLayerMissing, L"walls");
  const auto held = target.messages()[0];
  target.copyMessagesFrom(source);
  ASSERT_EQ(infos(target), (std::vector<std::wstring>{L"walls", L"header"}));
  EXPECT_EQ(target.messages()[0], held);
  EXPECT_NE(target.messages()[1], source.messages()[1]);
  EXPECT_TRUE(*target.messages()[1] == *source.messages()[1]);
  EXPECT_TRUE(target.hasErrors());
  EXPECT_EQ(source.messages().size(), 2u);
  target.copyMessagesFrom(target);
  EXPECT_EQ(target.messages().size(), 2u);
}

TEST_F(ReporterTest, MoveEmptiesTheSourceButLeavesItsFlags) {
  HostReporter source;
  source.addMessage(kFileDamaged, L"header");
  source.addMessage(kLayerMissing, L"walls");
  HostReporter target;
  target.moveMessagesFrom(source);
  EXPECT_EQ(infos(target), (std::vector<std::wstring>{L"header", L"walls"}));
  EXPECT_TRUE(source.messages().empty());
  EXPECT_TRUE(source.hasErrors());
  EXPECT_TRUE(target.hasWarnings());
  target.moveMessagesFrom(target);
  EXPECT_EQ(target.messages().size(), 2u);
}

// --- title, targets, progressor -------------------------------------------------------

TEST_F(ReporterTest, TargetsReceiveTheReportAndNullTargetsAreIgnored) {
  HostReporter reporter;
  auto first = std::make_shared<RecordingTarget>();
  auto second = std::make_shared<RecordingTarget>();
  reporter.addTarget(first);
  reporter.addTarget(nullptr);
  reporter.addTarget(second);
  reporter.setReportTitle(L"Audit");
  reporter.addMessage(kLayerMissing, L"walls");
  reporter.deliverToTargets();
  EXPECT_EQ(first->titles, (std::vector<std::wstring>{L"Audit"}));
  EXPECT_EQ(second->counts, (std::vector<std::size_t>{1}));
  reporter.clearTargets();
  reporter.deliverToTargets();
  EXPECT_EQ(first->titles.size(), 1u);
  reporter.showReport();
  EXPECT_EQ(reporter.shown, 1);
  EXPECT_EQ(reporter.reportTitle(), L"Audit");
}

TEST_F(ReporterTest, EveryReporterSharesOneNullProgressor) {
  HostReporter a;
  HostReporter b;
  EXPECT_EQ(&a.progressor(), &b.progressor());
  EXPECT_EQ(&a.progressor(), &IReporter::nullReporter().progressor());
  a.progressor().start(L"title");
  a.progressor().setRange(10);
  a.progressor().step();
  EXPECT_FALSE(a.progressor().isCanceled());
}

// --- the null reporter -----------------------------------------------------------------

TEST_F(ReporterTest, TheNullReporterKeepsNothing) {
  IReporter& null = IReporter::nullReporter();
  EXPECT_EQ(&null, &IReporter::nullReporter());
  EXPECT_NE(dynamic_cast<ut::NullReporter*>(&null), nullptr);
  OdArray<OdDbObjectId> ids;
  ids.append(newObjectId());
  OdArray<OdDbFullSubentPath> paths;
  paths.append(OdDbFullSubentPath(ids[0], OdDbSubentId()));
  HostReporter source;
  source.addMessage(kFileDamaged, L"kept by the source until moved");

  null.addMessage(kFileDamaged, L"error");
  null.addMessage(kLayerMissing, OdString(L"Zoom"), OdString(L"info"), &zoomTo);
  null.addMessage(kFileDamaged, paths, OdString(), OdString(), OdString(L"a.dwg"), OdString(), OdDbHandle(1));
  null.addMessage(kFileDamaged, ids, OdString(), OdString());
  null.addFormattedMessage(kCounted, L"walls", 1);
  null.addFormattedMessage(ids, kCounted, L"walls", 2);
  null.addFormattedMessage(paths, kCounted, L"walls", 3);
  null.addFormattedMessage(OdString(L"Zoom"), &zoomTo, kCounted, L"walls", 4);
  null.copyMessagesFrom(source);
  null.setReportTitle(L"title");
  null.addTarget(std::make_shared<RecordingTarget>());
  null.showReport();
  null.deliverToTargets();
  null.clearMessages();
  null.clearTargets();

  EXPECT_TRUE(null.messages().empty());
  EXPECT_FALSE(null.hasWarnings());
  EXPECT_FALSE(null.hasErrors());
  EXPECT_EQ(null.reportTitle(), L"");
  EXPECT_EQ(source.messages().size(), 1u);
}
