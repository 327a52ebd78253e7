#include <ut/ut_reporter.h>

namespace ut {

// --- NullReporter::NullProgressor -----------------------------------------------

void NullReporter::NullProgressor::start(const std::wstring&) {}
void NullReporter::NullProgressor::stop() {}
void NullReporter::NullProgressor::setMessage(const std::wstring&) {}
void NullReporter::NullProgressor::setRange(int) {}
void NullReporter::NullProgressor::setPosition(int) {}
void NullReporter::NullProgressor::step() {}
void NullReporter::NullProgressor::updateUI() {}
bool NullReporter::NullProgressor::isCanceled() const { return false; }

// --- NullReporter -------------------------------------------------------------------

NullReporter::NullReporter() = default;
NullReporter::~NullReporter() = default;

void NullReporter::addMessage(const char*, const std::wstring&) {}
void NullReporter::addMessage(const char*, const OdString&, const OdString&, ReporterCallback) {}
void NullReporter::addMessage(const char*, const OdArray<OdDbFullSubentPath>&, const OdString&, const OdString&,
                              const OdString&, const OdString&, const OdDbHandle&) {}
void NullReporter::addMessage(const char*, const OdArray<OdDbObjectId>&, const OdString&, const OdString&) {}
void NullReporter::addFormattedMessage(const char*, ...) {}
void NullReporter::addFormattedMessage(const OdArray<OdDbObjectId>&, const char*, ...) {}
void NullReporter::addFormattedMessage(const OdArray<OdDbFullSubentPath>&, const char*, ...) {}

void NullReporter::showReport() {}
void NullReporter::deliverToTargets() {}
void NullReporter::setReportTitle(const std::wstring&) {}
void NullReporter::addTarget(std::shared_ptr<IReporterTarget>) {}

void NullReporter::addMessageImpl(std::shared_ptr<IReporterMessage>) {}

}  // namespace ut
