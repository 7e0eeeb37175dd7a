// The Android log of this process, on standard error and to the outputs of a session.
//
//   W libnuvrelwirelesslinkconfigservice.so: [ApplySysfsLinkConfiguration:31] bad fd
//
// A line is logged when its priority is high enough for one of the two; the framework's log mask
// and the log library's own limit are set to match. One sink at a time; lines arrive on the thread
// that logs.
#pragma once

#include "host/runner/session_output.h"

class LogSink {
 public:
  // Lines of the priority `written` and above, from ANDROID_LOG_DEBUG to ANDROID_LOG_ERROR, go to
  // standard error; those of ANDROID_LOG_WARN and above to the outputs, which are borrowed.
  LogSink(int written, const SessionOutputs& outputs);
  ~LogSink();  // has the log library write to standard error again
  LogSink(const LogSink&) = delete;
  LogSink& operator=(const LogSink&) = delete;
};
