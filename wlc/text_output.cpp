#include "wlc/session_output.h"

#include <algorithm>

#include "platform/control_client.h"
#include "wlc/layout.h"
#include "wlc/output_file.h"
#include "wlc/visible.h"

namespace {

std::string Parameters(const Command& command) {
  std::string text;
  for (size_t i = 0; i < command.form->parameters.size(); ++i) {
    text += fmt::format("{}{} {}", i == 0 ? "   " : ", ", command.form->parameters[i].name,
                        command.values[i]);
  }
  return text;
}

// The answer to a command, or why there is none.
std::string Answer(const Exchange& exchange) {
  return !exchange.answered.empty()     ? exchange.answered
         : exchange.result == kNotSent  ? "(none: not sent)"
         : exchange.result == kNoAnswer ? "(none: not answered in 10 s)"
                                        : "(empty)";
}

const char* Meaning(const CommandReport& report) {
  const bool again = report.command.form->value == NUVREL_WLC_CMD_INIT && report.status == 1;
  return report.status < 0 ? "failed" : again ? "already initialised" : "done";
}

class TextOutput : public SessionOutput {
 public:
  explicit TextOutput(bool times) : mTimes(times) {}

  void OnStart(const SessionInfo& info) override {
    Print("{}\n\n  service    {}\n  settings   {}\n  driver     {}\n  addresses  {}\n\n",
          Painted(stdout, kBold, "wlc run: a session with the wireless link configuration service"),
          Visible(info.library), Visible(info.settings), Visible(info.driver),
          Visible(info.self + " to peer " + info.peer));
  }

  void OnCommandBegin(uint32_t number, const Command& command) override {
    Print("{:>3}   {}{}\n", number == 0 ? "" : fmt::to_string(number),
          Painted(stdout, kBold, std::string(command.form->name)), Parameters(command));
  }

  void OnExchange(const Exchange& exchange) override {
    const fmt::text_style style = exchange.result < 0 ? kBad : kGood;
    if (exchange.kind == Exchange::Kind::kCommand) {
      Print("{}\n", Labelled(stdout, "sends", kPlain, Visible(exchange.asked)));
      PrintTimed("answer", style, Answer(exchange), exchange.begin, exchange.end);
    } else {
      const std::string none = "(none that begins with " + exchange.asked + ")";
      PrintTimed("message", style, exchange.answered.empty() ? none : exchange.answered,
                 exchange.begin, exchange.end);
    }
  }

  void OnCommandEnd(const CommandReport& report) override {
    const std::vector<std::string>& differences = report.differences;
    const std::string driver =
        report.asBefore != 0 ? fmt::format("; still differs ({} as before)", report.asBefore)
        : report.checked && differences.empty() ? "; the driver's state matches its answers"
                                                : "";
    PrintTimed("status", report.status < 0 ? kBad : kBold,
               fmt::format("{}, {}{}", report.status, Meaning(report), driver), report.begin,
               report.end);
    for (size_t i = 0; i + report.asBefore < differences.size(); ++i) {
      Print("{}\n",
            Labelled(stdout, "differs", kWarn, Wrapped(Visible(differences[i]), kTextColumn)));
    }
    Print("\n");
  }

  void OnLogLine(const LogLine& line) override {
    if (const std::string value = NodeValue(line); !value.empty()) {
      Print("{}\n", Labelled(stdout, "writes", kPlain, Visible(value) + " to the driver's node"));
    }
  }

  void OnNotice(const std::string& text) override {
    Print("      {}\n\n", Painted(stdout, kWarn, "note: " + Wrapped(Visible(text), 12)));
  }

  void OnFinish(const SessionEnd& end) override {
    for (const FaultRule& fault : end.faults) {
      OnNotice(FaultSentence(fault));
    }
    Print("{}\n", Painted(stdout, kBold, "The driver at the end"));
    for (const auto& [key, value] : end.state) {
      Print("  {:22} {}\n", Visible(key), Visible(value));
    }
    if (end.state.empty()) {
      Print("  not told: no answer to STATUS-DRIVER, or one without the driver's state\n");
    }
    std::string summary =
        fmt::format("{} {}", end.commands, end.commands == 1 ? "command" : "commands");
    summary += end.failed != 0           ? fmt::format(", {} with a negative status", end.failed)
               : end.interrupted         ? ""
               : end.expectedFailed != 0 ? ", every negative status expected"
                                         : ", every status zero or more";
    if (end.differing != 0) {
      summary += fmt::format("; the driver differs after {} of them", end.differing);
    }
    if (!end.unmet.empty()) {
      summary += fmt::format("; {} not as expected", end.unmet.size());
    }
    summary += end.interrupted ? ", interrupted" : "";
    const bool good = end.failed == 0 && end.differing == 0 && end.unmet.empty();
    Print("\n{}\n", Painted(stdout, good ? kGood : kBad, summary));
    if (mTimes) {
      Print("{:.2f} ms spent in the service\n", end.microseconds / 1000);
    }
    if (!end.strictFailure.empty()) {
      const std::string failure = "strict: failed: " + Visible(end.strictFailure);
      Print("{}\n", Painted(stdout, kBad, Wrapped(failure, 0)));
    }
  }

 private:
  // One line of a command, with the time that it took at the end.
  void PrintTimed(const char* label, fmt::text_style style, const std::string& text,
                  TimePoint begin, TimePoint end) const {
    constexpr size_t kLeast = 10;                         // columns of a time
    constexpr size_t kRoom = kColumns - kTextColumn - 3;  // for the number
    const std::string visible = Visible(text);
    const std::string time = fmt::format("{:{}.2f} ms", Microseconds(begin, end) / 1000,
                                         kRoom - std::min(visible.size(), kRoom - kLeast));
    Print("{}{}\n", Labelled(stdout, label, style, visible), mTimes ? time : "");
  }

  const bool mTimes;
};

}  // namespace

std::unique_ptr<SessionOutput> MakeTextOutput(bool times) {
  return std::make_unique<TextOutput>(times);
}
