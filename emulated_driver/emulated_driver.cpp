#include "emulated_driver/emulated_driver.h"

#include <algorithm>
#include <climits>
#include <new>
#include <utility>

namespace {

constexpr std::string_view kDriverWord = "DRIVER ";
constexpr size_t kMaxReply = 4096;
constexpr std::string_view kStateChange =
    "<3>CTRL-EVENT-STATE-CHANGE id=-1 state=0 BSSID=00:00:00:00:00:00 SSID=";

// `text`, or as many whole lines of it as an answer has room for.
std::string CutToReply(const std::string& text) {
  return text.size() <= kMaxReply ? text : text.substr(0, text.rfind('\n', kMaxReply - 1) + 1);
}

}  // namespace

EmulatedDriver::EmulatedDriver(EmulatedDriverOptions options)
    : mOptions(std::move(options)), mModel(mOptions.serviceClasses), mFaults(mOptions.faults) {}

void EmulatedDriver::Start() {
  mSocket.Open(mOptions.directory, mOptions.interface);
  mThread = std::thread([this] { Serve(); });
}

void EmulatedDriver::Stop() {
  if (mThread.joinable()) {
    mSocket.EndWaits();
    mThread.join();
  }
  mOutgoing.clear();
  mSocket.Close();
}

std::string EmulatedDriver::Status() const {
  const std::lock_guard lock(mMutex);
  return mModel.Status();
}

std::vector<FaultRule> EmulatedDriver::Faults() const {
  const std::lock_guard lock(mMutex);
  return mFaults.Rules();
}

void EmulatedDriver::Serve() {
  while (!mSocket.WaitsEnded()) {
    try {
      if (const auto command = mSocket.Receive(MillisecondsToNextDue())) {
        Handle(command->from, command->text);
      }
      SendDue();
    } catch (const std::bad_alloc&) {  // no answer: its client waits in vain
    }
  }
}

int EmulatedDriver::MillisecondsToNextDue() const {
  if (mOutgoing.empty()) {
    return -1;
  }
  // Rounded up: rounded down, it would poll without waiting for the last fraction of a millisecond.
  const auto wait =
      std::chrono::ceil<std::chrono::milliseconds>(mOutgoing.begin()->first - Clock::now());
  return static_cast<int>(std::clamp<int64_t>(wait.count(), 0, INT_MAX));
}

void EmulatedDriver::SendDue() {
  while (!mOutgoing.empty() && mOutgoing.begin()->first <= Clock::now()) {
    const Outgoing outgoing = std::move(mOutgoing.extract(mOutgoing.begin()).mapped());
    if (outgoing.to.empty()) {
      mSocket.SendToAttached(outgoing.text);
    } else {
      mSocket.Send(outgoing.to, outgoing.text);
    }
  }
}

void EmulatedDriver::Handle(const PeerAddress& from, const std::string& command) {
  const std::lock_guard lock(mMutex);
  const Clock::time_point now = Clock::now();
  const CommandFault fault = mFaults.OnCommand(command);
  const auto decides = [&](FaultAction action) {
    return fault.decides != nullptr && fault.decides->action == action;
  };
  DriverAnswer answer =
      decides(FaultAction::kFail) ? DriverAnswer{std::string(kReplyFail)} : Answer(from, command);
  if (decides(FaultAction::kReply) || decides(FaultAction::kDrop)) {
    answer.reply = fault.decides->reply;  // none of a drop
  }
  if (mOptions.observer) {
    mOptions.observer({command, answer.events, answer.reply});
  }
  for (std::string& event : answer.events) {
    if (const auto delay = mFaults.OnEvent()) {
      mOutgoing.insert({now + *delay, {"", std::move(event)}});
    }
  }
  if (!decides(FaultAction::kDrop)) {
    mOutgoing.insert({now + fault.delay, {from, std::move(answer.reply)}});
  }
  if (fault.restarts) {
    mModel = DriverModel(mOptions.serviceClasses);
    std::erase_if(mOutgoing, [](const auto& one) { return one.second.to.empty(); });
  }
  if (fault.reopens) {
    mSocket.Reopen();
  }
}

DriverAnswer EmulatedDriver::Answer(const PeerAddress& from, std::string_view command) {
  if (command.starts_with(kDriverWord)) {
    return mModel.Execute(command.substr(kDriverWord.size()));
  }
  if (command == "PING") {
    return {"PONG\n"};
  }
  if (command == "STATUS-DRIVER") {
    return {CutToReply(mModel.Status())};
  }
  if (command == "STATUS") {
    return {CutToReply(mModel.Status()), {std::string(kStateChange)}};
  }
  if (command == "ATTACH") {
    mSocket.Attach(from);
    return {};
  }
  if (command == "DETACH") {
    return {std::string(mSocket.Detach(from) ? kReplyOk : kReplyFail)};
  }
  return {"UNKNOWN COMMAND\n"};
}
