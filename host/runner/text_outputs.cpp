#include <fmt/color.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>

#include "host/runner/output_file.h"
#include "host/runner/session_output.h"
#include "host/visible.h"
#include "host/wpa_cli_wrapper/control_client.h"

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

// One line of a command; what took any time says how much at its end.
void PrintLine(const char* label, fmt::text_style style, const std::string& text,
               double microseconds = -1) {
  constexpr size_t kTimeColumn = 76;  // where times end behind texts that are shorter
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
    Print("{:3}   {}{}\n", number, Painted(kBold, std::string(command.form->name)),
          Parameters(command));
  }

  void OnExchange(const Exchange& exchange) override {
    const fmt::text_style style = exchange.result < 0 ? kBad : kGood;
    const double microseconds = Microseconds(exchange.begin, exchange.end);
    if (exchange.kind == Exchange::Kind::kCommand) {
      PrintLine("sends    ", kPlain, exchange.asked);
      PrintLine("answer   ", style, Answer(exchange), microseconds);
    } else if (exchange.kind == Exchange::Kind::kWait) {
      const std::string none = "(none that begins with " + exchange.asked + ")";
      PrintLine("message  ", style, exchange.answered.empty() ? none : exchange.answered,
                microseconds);
    } else {
      const std::string failure =
          exchange.result < 0 ? fmt::format(": {}", std::strerror(-exchange.result)) : "";
      PrintLine("writes   ", style, exchange.asked + " to " + exchange.answered + failure,
                microseconds);
    }
  }

  void OnCommandEnd(const CommandReport& report) override {
    const bool agrees = report.checked && report.differences.empty();
    PrintLine("status   ", report.status < 0 ? kBad : kBold,
              fmt::format("{}, {}{}", report.status, Meaning(report),
                          agrees ? "; the driver's STATUS agrees" : ""),
              Microseconds(report.begin, report.end));
    for (const std::string& difference : report.differences) {
      PrintLine("differs  ", kWarn, difference);
    }
    Print("\n");
  }

  void OnNotice(const std::string& text) override {
    Print("      {}\n\n", Painted(kWarn, "note: " + Visible(text)));
  }

  void OnFinish(const SessionEnd& end) override {
    for (const FaultCount& fault : end.faults) {
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
  }
};

struct Row {
  void Add(TimePoint begin, TimePoint end, bool failed) {
    mTimes.push_back(Microseconds(begin, end));
    mFailed += failed ? 1 : 0;
  }

  void PrintAs(const std::string& name) {
    std::sort(mTimes.begin(), mTimes.end());
    // The time that so many percent of all do not exceed.
    const auto percentile = [this](size_t percent) {
      return mTimes[(mTimes.size() * percent - 1) / 100] / 1000;
    };
    Print("{:26}{:9}{:9}{:10.3f}{:10.3f}{:10.3f}{:10.3f}\n", Visible(name), mTimes.size(), mFailed,
          mTimes.front() / 1000, percentile(50), percentile(99), mTimes.back() / 1000);
  }

  std::vector<double> mTimes;  // in microseconds
  uint64_t mFailed = 0;
};

class SummaryOutput : public TextOutput {
 public:
  void OnCommandBegin(uint32_t /*number*/, const Command& /*command*/) override {}
  void OnExchange(const Exchange& /*exchange*/) override {}

  void OnCommandEnd(const CommandReport& report) override {
    mRows[{false, std::string(report.command.form->name)}].Add(report.begin, report.end,
                                                               report.status < 0);
    for (const Exchange& exchange : report.exchanges) {
      static constexpr const char* kKinds[] = {"DRIVER ", "message ", "write to "};
      mRows[{true, kKinds[static_cast<int>(exchange.kind)] + Topic(exchange)}].Add(
          exchange.begin, exchange.end, exchange.result < 0);
    }
    if (report.end - mShown > std::chrono::seconds(1) && isatty(STDERR_FILENO) == 1) {
      // Ends in the first column: what is written next takes its place.
      PrintError("{} commands\033[K\r", report.number);
      mShown = report.end;
    }
  }

  void OnFinish(const SessionEnd& end) override {
    PrintError("{}", isatty(STDERR_FILENO) == 1 ? "\033[K" : "");
    Print("{:26}{:>9}{:>9}{:>10}{:>10}{:>10}{:>10}\n", "times in ms", "how often", "failed",
          "least", "median", "99 %", "greatest");
    for (auto& [key, row] : mRows) {
      row.PrintAs(key.second);
    }
    Print("\n");
    TextOutput::OnFinish(end);
  }

 private:
  TimePoint mShown = std::chrono::steady_clock::now();
  std::map<std::pair<bool, std::string>, Row> mRows;  // by whether it is an exchange, and name
};

}  // namespace

std::unique_ptr<SessionOutput> MakeTextOutput() { return std::make_unique<TextOutput>(); }

std::unique_ptr<SessionOutput> MakeSummaryOutput() { return std::make_unique<SummaryOutput>(); }
