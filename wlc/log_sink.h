// The Android log of this process, on standard error and to the outputs of a session.
//
//       warning  [ApplySysfsLinkConfiguration:31] bad fd
//
// The service's tag, the name of its library, is left out; any other stands before the text. The
// further lines of a text are indented by two more columns than what has been broken at column 80.
// A line is logged when its priority is high enough for one of the two; the framework's log mask
// and the log library's own limit are set to match. One sink at a time; lines arrive on the thread
// that logs.
#pragma once

#include "wlc/session_output.h"

class LogSink {
 public:
  // Lines of the priority `written` and above go to standard error; with ANDROID_LOG_SILENT none
  // do. Those that SessionOutput::OnLogLine wants go to the outputs, which are borrowed.
  LogSink(int written, const SessionOutputs& outputs);
  ~LogSink();  // has the log library write to standard error again
  LogSink(const LogSink&) = delete;
  LogSink& operator=(const LogSink&) = delete;
};
