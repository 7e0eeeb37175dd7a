#include "wlc/session_output.h"

#include <fmt/color.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "platform/control_client.h"
#include "wlc/output_file.h"
#include "wlc/visible.h"

namespace {

constexpr fmt::text_style kPlain{};
constexpr fmt::text_style kBold = fmt::emphasis::bold;
constexpr fmt::text_style kFaint = fmt::emphasis::faint;
constexpr fmt::text_style kGood = fmt::fg(fmt::terminal_color::green);
constexpr fmt::text_style kBad = fmt::fg(fmt::terminal_color::red);
constexpr fmt::text_style kWarn = fmt::fg(fmt::terminal_color::yellow);

std::string Painted(fmt::text_style style, const std::string& text) {
  static const char* const refused = std::getenv("NO_COLOR");
  static const bool colour = isatty(STDOUT_FILENO) == 1 && (refused == nullptr || *refused == '\0');
  return fmt::format(colour ? style : kPlain, "{}", text);
}

// One line of a command, with its time at the end if it has one.
void PrintLine(const char* label, fmt::text_style style, const std::string& text,
               double microseconds = -1) {
  constexpr size_t kTimeColumn = 76;  // times are right-aligned here unless the text is longer
  constexpr size_t kTimeWidth = 10;   // at least
  const std::string visible = Visible(text);
  std::string time;
  if (microseconds >= 0) {
    const size_t width = kTimeColumn - std::min(visible.size(), kTimeColumn - kTimeWidth);
    time = fmt::format("{:{}.2f} ms", microseconds / 1000, width);
  }
  Print("      {}{}{}\n", Painted(kFaint, label), Painted(style, visible), time);
}

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
  void OnStart(const SessionInfo& info) override {
    Print("{}\n\n  service    {}\n  settings   {}\n  driver     {}\n  addresses  {}\n\n",
          Painted(kBold, "wlc run: a session with the wireless link configuration service"),
          Visible(info.library), Visible(info.settings), Visible(info.driver),
          Visible(info.self + " to peer " + info.peer));
  }

  void OnCommandBegin(uint32_t number, const Command& command) override {
    Print("{:>3}   {}{}\n", number == 0 ? "" : fmt::to_string(number),
          Painted(kBold, std::string(command.form->name)), Parameters(command));
  }

  void OnExchange(const Exchange& exchange) override {
    const fmt::text_style style = exchange.result < 0 ? kBad : kGood;
    const double microseconds = Microseconds(exchange.begin, exchange.end);
    if (exchange.kind == Exchange::Kind::kCommand) {
      PrintLine("sends    ", kPlain, exchange.asked);
      PrintLine("answer   ", style, Answer(exchange), microseconds);
    } else {
      const std::string none = "(none that begins with " + exchange.asked + ")";
      PrintLine("message  ", style, exchange.answered.empty() ? none : exchange.answered,
                microseconds);
    }
  }

  void OnCommandEnd(const CommandReport& report) override {
    const std::vector<std::string>& differences = report.differences;
    const std::string driver =
        report.asBefore != 0 ? fmt::format("; still differs ({} as before)", report.asBefore)
        : report.checked && differences.empty() ? "; the driver's STATUS agrees"
                                                : "";
    PrintLine("status   ", report.status < 0 ? kBad : kBold,
              fmt::format("{}, {}{}", report.status, Meaning(report), driver),
              Microseconds(report.begin, report.end));
    for (size_t i = 0; i + report.asBefore < differences.size(); ++i) {
      PrintLine("differs  ", kWarn, differences[i]);
    }
    Print("\n");
  }

  void OnLogLine(const LogLine& line) override {
    if (const std::string value = NodeValue(line); !value.empty()) {
      PrintLine("writes   ", kPlain, value + " to the driver's node");
    }
  }

  void OnNotice(const std::string& text) override {
    Print("      {}\n\n", Painted(kWarn, "note: " + Visible(text)));
  }

  void OnFinish(const SessionEnd& end) override {
    for (const FaultRule& fault : end.faults) {
      OnNotice(FaultSentence(fault));
    }
    Print("{}\n", Painted(kBold, "The driver at the end"));
    for (const auto& [key, value] : end.state) {
      Print("  {:22} {}\n", Visible(key), Visible(value));
    }
    if (end.state.empty()) {
      Print("  not told: nobody answered STATUS-DRIVER, or the answer lacks the driver's state\n");
    }
    std::string summary =
        fmt::format("{} {}", end.commands, end.commands == 1 ? "command" : "commands");
    summary += end.failed != 0   ? fmt::format(", {} with a negative status", end.failed)
               : end.interrupted ? ""
                                 : ", every status zero or more";
    if (end.differing != 0) {
      summary += fmt::format("; the driver differs after {} of them", end.differing);
    }
    summary += end.interrupted ? ", interrupted" : "";
    Print("\n{}\n{:.2f} ms spent in the service\n",
          Painted(end.failed == 0 && end.differing == 0 ? kGood : kBad, summary),
          end.microseconds / 1000);
    if (!end.strictFailure.empty()) {
      Print("{}\n", Painted(kBad, Visible("strict: failed: " + end.strictFailure)));
    }
  }
};

}  // namespace

std::unique_ptr<SessionOutput> MakeTextOutput() { return std::make_unique<TextOutput>(); }
