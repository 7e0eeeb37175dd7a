#include "host/runner/session.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace host {
namespace {

std::string WithoutLineEnd(std::string_view text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
    text.remove_suffix(1);
  }
  return std::string(text);
}

}  // namespace

Session::Session(ServiceHost& service, const std::string& controlPath,
                 std::vector<SessionOutput*> outputs, const volatile std::sig_atomic_t& stop)
    : mService(service),
      mEvidence(controlPath),
      mControlPath(controlPath),
      mOutputs(std::move(outputs)),
      mStop(stop) {
  SetWpaExchangeObserver(this);
}

Session::~Session() { SetWpaExchangeObserver(nullptr); }

void Session::Play(const Step& step) {
  for (uint32_t i = 0; i < step.times && !Stopped(); ++i) {
    if (step.command) {
      PlayCommand(*step.command);
    } else {
      Pause(step.pause);
    }
  }
}

// In slices, so that it ends soon after the session has been stopped.
void Session::Pause(std::chrono::milliseconds pause) const {
  constexpr std::chrono::milliseconds kSlice{50};
  for (; pause.count() > 0 && !Stopped(); pause -= kSlice) {
    std::this_thread::sleep_for(std::min(pause, kSlice));
  }
}

void Session::PlayCommand(const Command& command) {
  mEvidence.Prepare();
  const uint32_t number = mReport.number + 1;
  mReport = CommandReport();
  mReport.number = number;
  mReport.command = command;
  for (SessionOutput* output : mOutputs) {
    output->OnCommandBegin(number, command);
  }
  mReport.time.begin = std::chrono::steady_clock::now();
  const std::optional<int32_t> status = mService.Send(command);
  mReport.time.end = std::chrono::steady_clock::now();
  mReport.status = status.value_or(-1);
  mAllSucceeded = mAllSucceeded && mReport.status >= 0;
  std::string notice = mEvidence.Check(mReport);
  for (SessionOutput* output : mOutputs) {
    output->OnCommandEnd(mReport);
    if (!status) {
      output->OnNotice("the service sent no proper reply to " + command.Text());
    }
    if (!notice.empty()) {
      output->OnNotice(notice);
    }
  }
}

void Session::Finish() {
  StatusLines state;
  AskDriverStatus(mControlPath, state);
  for (SessionOutput* output : mOutputs) {
    output->OnFinish(state);
  }
}

void Session::OnExchange(const WpaExchange& exchange) {
  const Exchange& kept =
      mReport.exchanges.emplace_back(Exchange{.command = std::string(exchange.command),
                                              .reply = WithoutLineEnd(exchange.reply),
                                              .result = exchange.result,
                                              .time = {exchange.begin, exchange.end}});
  for (SessionOutput* output : mOutputs) {
    output->OnExchange(kept);
  }
}

void Session::OnWait(const WpaWait& wait) {
  const Wait& kept = mReport.waits.emplace_back(Wait{.prefix = std::string(wait.prefix),
                                                     .message = WithoutLineEnd(wait.message),
                                                     .result = wait.result,
                                                     .time = {wait.begin, wait.end}});
  for (SessionOutput* output : mOutputs) {
    output->OnWait(kept);
  }
}

}  // namespace host
