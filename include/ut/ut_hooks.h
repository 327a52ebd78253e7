#pragma once

// Platform settings the host may change. The library writes developer
// diagnostics to the debugger output; on this platform that is standard error
// unless the host routes it elsewhere (a log window, a file, a test capture).

#include <functional>

#include <ut/ut_export.h>

namespace ut {

// Receives each piece of debugger output as a null-terminated wide string.
// The pointer is valid only for the duration of the call. The text is passed
// exactly as the library produced it: no line end is added.
using DebugOutputHandler = std::function<void(const wchar_t* text)>;

// Routes the debugger output to `handler`; an empty handler restores standard
// error (UTF-8). Thread-safe. When the call returns, the previous handler is
// no longer running on any other thread and will not be called again, so the
// host may destroy whatever it captured. Called from inside a handler, the
// call waits for the other threads only (the calling handler goes on running).
// A handler that throws is ignored for that piece of output; output produced
// by a handler itself goes to standard error.
UT_EXPORT void setDebugOutputHandler(DebugOutputHandler handler);

}  // namespace ut
