#include "wlc/session_output.h"

#include <unistd.h>

#include <algorithm>
#include <map>

#include "wlc/output_file.h"
#include "wlc/visible.h"

namespace {

struct Row {
  void Add(TimePoint begin, TimePoint end, bool failed) {
    mTimes.push_back(Microseconds(begin, end));
    mFailed += failed ? 1 : 0;
  }

  void PrintAs(const std::string& name) {
    std::sort(mTimes.begin(), mTimes.end());
    // `percent` of the times are not longer than this.
    const auto percentile = [this](size_t percent) {
      return mTimes[(mTimes.size() * percent - 1) / 100] / 1000;
    };
    Print("{:26}{:9}{:8}{:9.3f}{:9.3f}{:9.3f}{:9.3f}\n", Visible(name), mTimes.size(), mFailed,
          mTimes.front() / 1000, percentile(50), percentile(99), mTimes.back() / 1000);
  }

  std::vector<double> mTimes;  // in microseconds
  uint64_t mFailed = 0;
};

class SummaryOutput : public SessionOutput {
 public:
  void OnStart(const SessionInfo& info) override { mText->OnStart(info); }
  void OnNotice(const std::string& text) override { mText->OnNotice(text); }

  void OnCommandEnd(const CommandReport& report) override {
    mRows[{false, std::string(report.command.form->name)}].Add(report.begin, report.end,
                                                               report.status < 0);
    for (const Exchange& exchange : report.exchanges) {
      const std::string kind = exchange.kind == Exchange::Kind::kWait ? "message " : "DRIVER ";
      mRows[{true, kind + Topic(exchange)}].Add(exchange.begin, exchange.end, exchange.result < 0);
    }
    if (report.end - mShown > std::chrono::seconds(1) && isatty(STDERR_FILENO) == 1) {
      // The carriage return lets the next output overwrite it.
      PrintError("{} commands\033[K\r", report.number);
      mShown = report.end;
    }
  }

  void OnFinish(const SessionEnd& end) override {
    PrintError("{}", isatty(STDERR_FILENO) == 1 ? "\033[K" : "");
    Print("{:26}{:>9}{:>8}{:>9}{:>9}{:>9}{:>9}\n", "times in ms", "how often", "failed", "least",
          "median", "99 %", "greatest");
    for (auto& [key, row] : mRows) {
      row.PrintAs(key.second);
    }
    Print("\n");
    mText->OnFinish(end);
  }

 private:
  const std::unique_ptr<SessionOutput> mText = MakeTextOutput();  // for everything but the commands
  TimePoint mShown = std::chrono::steady_clock::now();
  std::map<std::pair<bool, std::string>, Row>
      mRows;  // commands first, then exchanges, each by name
};

}  // namespace

std::unique_ptr<SessionOutput> MakeSummaryOutput() { return std::make_unique<SummaryOutput>(); }
