// The session as a person reads it, line by line while it happens:
//
//    6  add-lapb-policy   port 5000, special ToS 160, default ToS 184, latency 20
//       sends    DRIVER POLICY_ADD policy_type ipv4 src_ip 192.168.49.1 ...
//       answer   cookie=p1                                                   0.12 ms
//       status   0, done                                                     0.34 ms
//
// Everything goes to standard output and is flushed when a command ends. Colours only when asked;
// lines are folded to the width that is given, never in a pipe or file.
#ifndef NUVREL_HOST_RUNNER_TEXT_OUTPUT_H_
#define NUVREL_HOST_RUNNER_TEXT_OUTPUT_H_

#include <cstddef>
#include <string>

#include "host/runner/session_output.h"

namespace host {

struct TextStyle {
  bool colour = false;
  size_t width = 0;  // of the terminal, in characters; 0: lines of any length
};

// As fits standard output: plain unless it is a terminal, no colour with NO_COLOR in the
// environment.
TextStyle StyleOfStandardOutput();

class TextOutput : public SessionOutput {
 public:
  explicit TextOutput(const TextStyle& style) : mStyle(style) {}

  void OnStart(const SessionInfo& info) override;
  void OnCommandBegin(uint32_t number, const Command& command) override;
  void OnExchange(const Exchange& exchange) override;
  void OnWait(const Wait& wait) override;
  void OnCommandEnd(const CommandReport& report) override;
  void OnNotice(const std::string& text) override;
  void OnFinish(const StatusLines& state) override;

 private:
  enum class Tint { kPlain, kBold, kFaint, kGood, kBad, kWarn };

  std::string Painted(Tint tint, const std::string& text) const;
  // One line, or several when folded; `time`, if any, stands behind the last one.
  void Line(const char* label, Tint tint, const std::string& text,
            const Interval* time = nullptr) const;

  TextStyle mStyle;
  uint32_t mCommands = 0;
  uint32_t mFailed = 0;
  uint32_t mDiffering = 0;
  double mMicroseconds = 0;
};

}  // namespace host

#endif  // NUVREL_HOST_RUNNER_TEXT_OUTPUT_H_
