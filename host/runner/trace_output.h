// The session as a trace file in the Chrome trace event format, for Perfetto's and Chrome's
// viewers.
//
// Three tracks: "commands", "driver exchanges" (each within its command) and "waiting for driver
// messages"; log lines from WARN on stand as instants on the first; "policies" and "service
// classes" are counters. Example of one event:
//   {"ph":"X","pid":1,"tid":2,"name":"SET_LATENCY_MODE","ts":812.4,"dur":95.1,"args":{...}}
// Times are microseconds since the trace was opened.
//
// Open first, so that a path that cannot be written is known before anything runs; the file is
// complete after OnFinish.
#ifndef NUVREL_HOST_RUNNER_TRACE_OUTPUT_H_
#define NUVREL_HOST_RUNNER_TRACE_OUTPUT_H_

#include <fstream>
#include <string>

#include "host/runner/session_output.h"

namespace host {

class TraceOutput : public SessionOutput {
 public:
  // False when `file` cannot be written; `error` then says why.
  bool Open(const std::string& file, std::string& error);

  void OnCommandEnd(const CommandReport& report) override;
  void OnLogLine(const LogLine& line) override;
  void OnFinish(const StatusLines& state) override;

 private:
  double Microseconds(TimePoint time) const;
  void Write(const std::string& event);
  void WriteTrack(int track, const char* name);
  void WriteCounter(const char* name, TimePoint time, uint32_t value);

  std::ofstream mFile;
  TimePoint mStart;
  bool mFirst = true;
};

}  // namespace host

#endif  // NUVREL_HOST_RUNNER_TRACE_OUTPUT_H_
