// The global --trace FILE option: the tracer opened on a file for one run.

#include "ut_tool.h"

#include <ut/ut_log.h>
#include <ut/ut_tracer.h>

#include <cstdlib>
#include <ostream>

namespace ut::tool {

TraceSession::~TraceSession() { UtTracer::tracer().freeStream(); }

bool TraceSession::start(const std::string& file, int argc, const char* const* argv) {
  UtTracer& tracer = UtTracer::tracer();
  if (std::getenv("TDM_LOG_LEVEL")) {
    tracer.setStreamName(file.c_str());
  } else {
    // The user asked for a trace: a missing level must not silence it.
    tracer.setStreamName(file.c_str(), kDefaultTraceLevel, 0);
    if (std::getenv("TDM_LOG_AREA")) tracer.readArea();
  }
  if (tracer.traceLevel() < 0) return true;  // switched off on purpose
  if (!tracer.isOpen()) return false;

  {
    const SafeTracerAccessor access;
    tracer << getLogStamp() << std::endl;
  }
  wxString commandLine = L"ut";
  for (int i = 1; i < argc; ++i) commandLine += L" " + fromUtf8(argv[i]);
  trace(eTraceSteps, commandLine);
  return true;
}

void trace(int level, const wxString& text) {
  const SafeTracerAccessor access;
  UtTracer& tracer = access.get();
  if (tracer.traceLevel() < level || !tracer.checkArea(kTraceArea)) return;
  tracer.str(level) << toUtf8(text) << std::endl;
}

}  // namespace ut::tool
