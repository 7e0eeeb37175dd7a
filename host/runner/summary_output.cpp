#include <unistd.h>

#include <algorithm>
#include <map>

#include "host/runner/output_file.h"
#include "host/runner/session_output.h"
#include "host/visible.h"

namespace {

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

class SummaryOutput : public SessionOutput {
 public:
  void OnCommandEnd(const CommandReport& report) override {
    mCommands[std::string(report.command.form->name)].Add(report.begin, report.end,
                                                          report.status < 0);
    for (const Exchange& exchange : report.exchanges) {
      static constexpr const char* kKinds[] = {"DRIVER ", "message ", "write to "};
      mExchanges[kKinds[static_cast<int>(exchange.kind)] + Topic(exchange)].Add(
          exchange.begin, exchange.end, exchange.result < 0);
    }
    if (report.end - mShown > std::chrono::seconds(1) && isatty(STDERR_FILENO) == 1) {
      // Ends in the first column: what is written next takes its place.
      PrintError("{} commands\033[K\r", report.number);
      mShown = report.end;
    }
  }

  void OnFinish(const SessionEnd& /*end*/) override {
    PrintError("{}", isatty(STDERR_FILENO) == 1 ? "\033[K" : "");
    Print("{:26}{:>9}{:>9}{:>10}{:>10}{:>10}{:>10}\n", "times in ms", "how often", "failed",
          "least", "median", "99 %", "greatest");
    for (auto* rows : {&mCommands, &mExchanges}) {
      for (auto& [name, row] : *rows) {
        row.PrintAs(name);
      }
    }
    Print("\n");
  }

 private:
  TimePoint mShown = std::chrono::steady_clock::now();
  std::map<std::string, Row> mCommands;
  std::map<std::string, Row> mExchanges;
};

}  // namespace

std::unique_ptr<SessionOutput> MakeSummaryOutput() { return std::make_unique<SummaryOutput>(); }
