#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "host/runner/output_file.h"
#include "host/runner/outputs.h"

namespace {

// Times in microseconds, counted by their logarithm in steps of 1 %, so that a session of any
// length takes little memory.
struct Times {
  void Add(double time, bool failed) {
    mFailed += failed ? 1 : 0;
    mLeast = mCount++ == 0 ? time : std::min(mLeast, time);
    mGreatest = std::max(mGreatest, time);
    ++mCounts[std::lround(100 * std::log(std::max(time, 0.001)))];
  }

  // The time that the share `part` of all do not exceed.
  double Quantile(double part) const {
    double rest = part * static_cast<double>(mCount);
    for (const auto& [logarithm, count] : mCounts) {
      if ((rest -= count) <= 0) {
        return std::clamp(std::exp(static_cast<double>(logarithm) / 100), mLeast, mGreatest);
      }
    }
    return mGreatest;
  }

  uint64_t mCount = 0;
  uint64_t mFailed = 0;
  double mLeast = 0;
  double mGreatest = 0;
  std::map<long, uint32_t> mCounts;
};

class SummaryOutput : public SessionOutput {
 public:
  void OnCommandEnd(const CommandReport& report) override {
    mTimes[{false, std::string(report.command.form->name)}].Add(
        Microseconds(report.begin, report.end), report.status < 0);
    for (const Exchange& exchange : report.exchanges) {
      const std::string name = exchange.kind == Exchange::Kind::kCommand
                                   ? "DRIVER " + ShortName(exchange.asked)
                               : exchange.kind == Exchange::Kind::kWait ? "a message"
                                                                        : "a write to the node";
      mTimes[{true, name}].Add(Microseconds(exchange.begin, exchange.end), exchange.result < 0);
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
    for (const auto& [key, times] : mTimes) {
      Print("{:26}{:9}{:9}{:10.3f}{:10.3f}{:10.3f}{:10.3f}\n", key.second, times.mCount,
            times.mFailed, times.mLeast / 1000, times.Quantile(0.5) / 1000,
            times.Quantile(0.99) / 1000, times.mGreatest / 1000);
    }
    Print("\n");
  }

 private:
  TimePoint mShown = std::chrono::steady_clock::now();
  // By whether it is the driver's part, and the name.
  std::map<std::pair<bool, std::string>, Times> mTimes;
};

}  // namespace

std::unique_ptr<SessionOutput> MakeSummaryOutput() { return std::make_unique<SummaryOutput>(); }
