// The Android log of this process, on standard error and to the outputs of a session.
//
//   W libnuvrelwirelesslinkconfigservice.so: [ApplySysfsLinkConfiguration:31] bad fd
//
// A line is written when it is at the chosen level or above; the framework's log mask and the log
// library's own limit are set to match. Outputs are told every line from WARN on, whatever is
// written. One sink at a time; lines arrive on the thread that logs.
#ifndef NUVREL_HOST_RUNNER_LOG_SINK_H_
#define NUVREL_HOST_RUNNER_LOG_SINK_H_

#include <vector>

#include "host/runner/session_output.h"

struct __android_logger_data;  // NOLINT(bugprone-reserved-identifier): the log library's name

namespace host {

class LogSink {
 public:
  LogSink(LogLevel level, std::vector<SessionOutput*> outputs);
  ~LogSink();  // back to the log library's own way
  LogSink(const LogSink&) = delete;
  LogSink& operator=(const LogSink&) = delete;

 private:
  static void OnLine(const __android_logger_data* data, const char* text);

  static LogSink* gSink;

  LogLevel mLevel;
  std::vector<SessionOutput*> mOutputs;
};

}  // namespace host

#endif  // NUVREL_HOST_RUNNER_LOG_SINK_H_
