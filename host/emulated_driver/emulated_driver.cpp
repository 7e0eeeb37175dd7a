#include "host/emulated_driver/emulated_driver.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <optional>
#include <system_error>
#include <utility>

namespace host {
namespace {

constexpr std::string_view kDriverWord = "DRIVER ";
constexpr size_t kMaxReply = 4096;

// `text`, or as many whole lines of it as an answer has room for.
std::string CutToReply(const std::string& text) {
  if (text.size() <= kMaxReply) {
    return text;
  }
  return text.substr(0, text.rfind('\n', kMaxReply - 1) + 1);
}

}  // namespace

EmulatedDriver::EmulatedDriver(EmulatedDriverOptions options)
    : mOptions(std::move(options)), mModel(mOptions.serviceClasses), mFaults(mOptions.faults) {}

EmulatedDriver::~EmulatedDriver() { Stop(); }

bool EmulatedDriver::Start(std::string* error) {
  if (mThread.joinable()) {
    *error = "control socket " + SocketPath() + " is being served already: stop it first";
    return false;
  }
  if (!mSocket.Open(mOptions.directory, mOptions.interface, error)) {
    return false;
  }
  try {
    mStopping = false;
    mThread = std::thread([this] { Serve(); });
  } catch (const std::system_error& failure) {
    *error = "control socket " + SocketPath() + ": cannot serve it: " + failure.what();
    Stop();
    return false;
  }
  return true;
}

void EmulatedDriver::Stop() {
  if (mThread.joinable()) {
    mStopping = true;
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

std::vector<WireExchange> EmulatedDriver::Wire() const {
  const std::lock_guard lock(mMutex);
  return mWire;
}

std::vector<FaultCount> EmulatedDriver::FaultCounts() const {
  const std::lock_guard lock(mMutex);
  return mFaults.Counts();
}

std::string EmulatedDriver::SocketPath() const {
  return mOptions.directory + "/" + mOptions.interface;
}

void EmulatedDriver::Serve() {
  while (!mStopping) {
    if (const auto command = mSocket.Receive(MillisecondsToNextDue())) {
      Handle(command->from, command->text);
    }
    SendDue();
  }
}

int EmulatedDriver::MillisecondsToNextDue() const {
  if (mOutgoing.empty()) {
    return -1;
  }
  // Rounded up: rounded down, the last fraction of a millisecond would be spent spinning.
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
  CommandFault fault = mFaults.OnCommand(command);
  DriverAnswer answer =
      fault.refused ? DriverAnswer{std::string(kReplyFail), {}} : Answer(from, command);
  if (fault.reply) {
    answer.reply = std::move(*fault.reply);
  }
  if (!fault.answered) {
    answer.reply.clear();
  }
  if (mOptions.recordWire) {
    mWire.push_back({command, answer.reply});
  }
  if (fault.answered) {
    mOutgoing.insert({now + fault.delay, {from, std::move(answer.reply)}});
  }
  for (std::string& event : answer.events) {
    if (const auto delay = mFaults.OnEvent(event)) {
      mOutgoing.insert({now + *delay, {"", std::move(event)}});
    }
  }
}

DriverAnswer EmulatedDriver::Answer(const PeerAddress& from, std::string_view command) {
  if (command.starts_with(kDriverWord)) {
    return mModel.Execute(command.substr(kDriverWord.size()));
  }
  if (command == "PING") {
    return {"PONG\n", {}};
  }
  if (command == "STATUS") {
    return {CutToReply(mModel.Status()), {}};
  }
  if (command == "ATTACH") {
    mSocket.Attach(from);
    return {std::string(kReplyOk), {}};
  }
  if (command == "DETACH") {
    return {std::string(mSocket.Detach(from) ? kReplyOk : kReplyFail), {}};
  }
  return {"UNKNOWN COMMAND\n", {}};
}

}  // namespace host
