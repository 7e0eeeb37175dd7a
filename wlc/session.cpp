#include "wlc/session.h"

#include <algorithm>

#include "wlc/why_not_open.h"

namespace {

// Kept of one command; a driver lists 254 classes at most.
constexpr size_t kMaxWaits = 1000;

// What --strict finds wrong, in one line; empty when nothing.
std::string StrictFailure(const SessionEnd& end) {
  std::vector<std::string> reasons;
  if (end.surprises != 0) {
    reasons.push_back(fmt::format("{} in the settings may surprise", end.surprises));
  }
  if (end.differing != 0) {
    reasons.push_back(fmt::format("the driver differs after {} of the commands", end.differing));
  }
  if (end.unchecked != 0) {
    reasons.push_back(
        fmt::format("the driver was not checked after {} of the commands that may "
                    "have changed it",
                    end.unchecked));
  }
  for (const FaultRule& fault : end.faults) {
    if (fault.fired == 0) {
      reasons.push_back(FaultSentence(fault));
    }
  }
  return fmt::format("{}", fmt::join(reasons, "; "));
}

}  // namespace

Session::Session(ServiceHost& service, const std::string& controlPath,
                 const SessionOutputs& outputs, const EmulatedDriver* emulated)
    : mService(service),
      mControlPath(controlPath),
      mEvidence(controlPath, emulated),
      mEmulated(emulated),
      mOutputs(outputs) {
  SetExchangeObserver([this](Exchange exchange) {
    while (exchange.answered.ends_with('\n')) {
      exchange.answered.pop_back();
    }
    if (mReport.number != 0) {
      for (const auto& output : mOutputs) {
        output->OnExchange(exchange);
      }
    }
    const bool isWait = exchange.kind == Exchange::Kind::kWait;
    if (!isWait || ++mWaits <= kMaxWaits) {
      mReport.exchanges.push_back(std::move(exchange));
    }
  });
}

Session::~Session() { SetExchangeObserver(nullptr); }

void Session::Start(const SessionInfo& info) {
  for (const auto& output : mOutputs) {
    output->OnStart(info);
  }
  for (const std::string& surprise : info.surprises) {
    Notice(surprise);
  }
  mEnd.surprises = info.surprises.size();
  mShowsPath = info.showsPath;
}

void Session::Play(const std::vector<Step>& steps) {
  for (const Step& step : steps) {
    for (uint32_t i = 0; i < step.times && !Stopped(); ++i) {
      if (step.command.form == nullptr) {
        Expect(step.expectation);
      } else if (step.command.form->value == kSleep) {
        PauseUntilInterrupted(std::chrono::milliseconds(step.command.values[0]));
      } else {
        PlayCommand(step.command);
      }
    }
  }
}

void Session::PlayCommand(const Command& command) {
  mEvidence.Prepare();
  mReport = {.number = ++mEnd.commands, .command = command};
  for (const auto& output : mOutputs) {
    output->OnCommandBegin(mReport.number, command);
  }
  mWaits = 0;
  mReport.begin = std::chrono::steady_clock::now();
  const std::optional<int32_t> status = mService.Send(command.Packet());
  mReport.end = std::chrono::steady_clock::now();
  mReport.status = status.value_or(-1);
  if (!status) {
    Notice("the service sent no proper reply to " + command.Text());
  }
  EndCommand();
  if (command.form->value == NUVREL_WLC_CMD_INIT && mReport.status < 0) {
    std::string why = WhyNotOpen(mControlPath, mReport.end - mReport.begin);
    if (const size_t at = why.find(mControlPath); at != std::string::npos && !mShowsPath) {
      why.replace(at, mControlPath.size(), "its socket");
    }
    Notice(why);
  }
  const uint32_t value = command.form->value;
  Notice(MissingStep());
  mInitialised = value == NUVREL_WLC_CMD_INIT ? mReport.status >= 0
                                              : mInitialised && value != NUVREL_WLC_CMD_DEINIT;
  mHasFlows = mInitialised &&
              (mHasFlows || (value == NUVREL_WLC_CMD_INIT_LAPB_FLOW && mReport.status >= 0));
}

// What has to be played before the command that has failed, as a notice; empty when that is not
// why.
std::string Session::MissingStep() const {
  const uint32_t value = mReport.command.form->value;
  const bool isFlow =
      value == NUVREL_WLC_CMD_ADD_LAPB_POLICY || value == NUVREL_WLC_CMD_CLEAR_LAPB_POLICIES;
  if (mReport.status >= 0 || !mReport.exchanges.empty() || value == NUVREL_WLC_CMD_INIT) {
    return "";
  }
  const char* const missing = !mInitialised ? "init" : isFlow && !mHasFlows ? "init-lapb-flow" : "";
  return *missing == '\0'
             ? ""
             : fmt::format("{} needs a successful {} first", mReport.command.form->name, missing);
}

void Session::Expect(const Expectation& expectation) {
  StatusLines lines;
  if (expectation.key != "status") {
    mEvidence.Ask(lines);
  } else if (mEnd.commands != 0) {
    lines = {{"status", fmt::to_string(mReport.status)}};
  }
  const auto found = std::find_if(lines.begin(), lines.end(),
                                  [&](const auto& line) { return line.first == expectation.key; });
  if (found == lines.end() || found->second != expectation.value) {
    mEnd.unmet.push_back(fmt::format("{}expected {} {}, found {}", expectation.where,
                                     expectation.key, expectation.value,
                                     found == lines.end() ? "none" : found->second));
    Notice(mEnd.unmet.back());
  } else if (expectation.key == "status" && mReport.status < 0 &&
             !std::exchange(mReport.expected, true)) {
    --mEnd.failed;
    ++mEnd.expectedFailed;
  }
}

// Checks the driver, and counts and reports what mReport says.
void Session::EndCommand() {
  const std::string notice = mEvidence.Check(mReport);
  mEnd.failed += mReport.status < 0 ? 1 : 0;
  mEnd.differing += mReport.differences.empty() ? 0 : 1;
  mEnd.unchecked += mReport.unchecked ? 1 : 0;
  mEnd.microseconds += Microseconds(mReport.begin, mReport.end);
  for (const auto& output : mOutputs) {
    output->OnCommandEnd(mReport);
  }
  Notice(notice);
  if (mWaits > kMaxWaits) {
    Notice(fmt::format("{} waits for messages; only the first {} are kept", mWaits, kMaxWaits));
  }
}

// Most sessions have left nothing to take back; then there is nothing to show.
void Session::Release() {
  mReport = {.command = {.form = &kRelease}};
  mWaits = 0;
  mReport.begin = std::chrono::steady_clock::now();
  mReport.status = mService.Release();
  mReport.end = std::chrono::steady_clock::now();
  if (mReport.exchanges.empty() && mReport.status >= 0) {
    return;
  }
  for (const auto& output : mOutputs) {
    output->OnCommandBegin(0, mReport.command);
    for (const Exchange& exchange : mReport.exchanges) {
      output->OnExchange(exchange);
    }
  }
  EndCommand();
}

void Session::Notice(const std::string& text) {
  for (const auto& output : mOutputs) {
    if (!text.empty()) {
      output->OnNotice(text);
    }
  }
}

const SessionEnd& Session::Finish(bool strict) {
  Release();
  mEvidence.Ask(mEnd.state);
  mEnd.faults = mEmulated != nullptr ? mEmulated->Faults() : std::vector<FaultRule>();
  mEnd.interrupted = InterruptedBy() != 0;
  mEnd.strictFailure = strict ? StrictFailure(mEnd) : "";
  for (const auto& output : mOutputs) {
    output->OnFinish(mEnd);
  }
  return mEnd;
}
