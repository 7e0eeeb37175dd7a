// The wrapper: one client for commands, one attached for unsolicited messages.
//
// Opening, closing and a command with its answer hold mExchangeLock. A wait for a message holds
// only the listener's own lock, so that waits and commands do not hold each other up.
#pragma GCC visibility push(default)
#include "framework/wpa_cli_wrapper.h"
#include "platform/exchange_observer.h"
#pragma GCC visibility pop

#include <algorithm>

#include "platform/listener.h"

namespace {

using Clock = ControlClient::Clock;

ExchangeObserver gObserver;

class CtrlWrapper : public WpaCliWrapper {
 public:
  // Waits at most 10 s for the answer to ATTACH.
  int32_t OpenCtrlInterface(const std::string& path) override;
  // First waits for another thread's command to end. Ends a wait for a message, unless the wrapper
  // is opened again before the waiting thread has noticed.
  int32_t CloseCtrlInterface() override;
  // Waits at most 10 s for the answer. Earlier messages are dropped first: one may be a late
  // message for an earlier command. A supplicant that has reopened its socket refuses the clients
  // of the old one, so a command that could not be sent is sent once more on new connections,
  // within the same 10 s.
  int32_t ExecuteCommand(const std::string& command, const std::string& extra, std::string& reply,
                         int32_t flag) override;
  // waitLimit is in milliseconds; below 0 counts as 0.
  int32_t GetResponse(std::string& message, const std::string& prefix, int32_t waitLimit) override;

 private:
  bool Connect(const std::string& path, Clock::time_point deadline) REQUIRES(mExchangeLock);
  bool Reconnect(Clock::time_point deadline) REQUIRES(mExchangeLock);
  int32_t Request(const std::string& command, std::string& reply) EXCLUDES(mExchangeLock);

  std::mutex mExchangeLock;
  std::string mPath GUARDED_BY(mExchangeLock);                         // empty when closed
  std::unique_ptr<ControlClient> mCommands GUARDED_BY(mExchangeLock);  // null when not connected
  Listener mListener;
};

// Replaces both clients by new ones for `path`. On failure the old ones stay, but when no thread
// can be started, messages are no longer read.
bool CtrlWrapper::Connect(const std::string& path, Clock::time_point deadline) {
  auto commands = ControlClient::Open(path);
  auto monitor = ControlClient::Open(path);
  if (!commands || !monitor || !monitor->Attach(deadline)) {
    return false;
  }
  try {
    mListener.Start(std::move(monitor));
  } catch (const std::system_error&) {
    return false;  // no thread can be started
  }
  mCommands = std::move(commands);
  mPath = path;
  return true;
}

// A supplicant that reopens its socket has none for less than a millisecond.
bool CtrlWrapper::Reconnect(Clock::time_point deadline) {
  for (int i = 0; i < 10 && !ControlClient::Open(mPath); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return Connect(mPath, deadline);
}

int32_t CtrlWrapper::OpenCtrlInterface(const std::string& path) {
  CloseCtrlInterface();
  const std::lock_guard<std::mutex> lock(mExchangeLock);
  return Connect(path, Clock::now() + ControlClient::kAnswerLimit) ? kDone : kNotSent;
}

int32_t CtrlWrapper::CloseCtrlInterface() {
  const std::lock_guard<std::mutex> lock(mExchangeLock);
  mPath.clear();
  mCommands.reset();
  mListener.Stop();
  return kDone;
}

int32_t CtrlWrapper::Request(const std::string& command, std::string& reply) {
  const std::lock_guard<std::mutex> lock(mExchangeLock);
  reply.clear();
  mListener.Drop();
  const auto deadline = Clock::now() + ControlClient::kAnswerLimit;
  int32_t result = mCommands ? mCommands->Request(command, reply, deadline) : kNotSent;
  if (result == kNotSent && !mPath.empty() && Reconnect(deadline)) {
    result = mCommands->Request(command, reply, deadline);
  }
  if (result == kNoAnswer) {
    mCommands = ControlClient::Open(mPath);  // no late answer can reach the new one
  }
  return result;
}

int32_t CtrlWrapper::ExecuteCommand(const std::string& command, const std::string& /*extra*/,
                                    std::string& reply, int32_t /*flag*/) {
  const Clock::time_point begin = Clock::now();
  const int32_t result = Request(command, reply);
  if (gObserver) {
    gObserver({Exchange::Kind::kCommand, command, reply, result, begin, Clock::now()});
  }
  return result;
}

int32_t CtrlWrapper::GetResponse(std::string& message, const std::string& prefix,
                                 int32_t waitLimit) {
  const Clock::time_point begin = Clock::now();
  const std::chrono::milliseconds limit(std::max(waitLimit, 0));
  const int32_t result = mListener.Next(message, prefix, limit) ? kDone : kNoAnswer;
  if (gObserver) {
    gObserver({Exchange::Kind::kWait, prefix, message, result, begin, Clock::now()});
  }
  return result;
}

// Made at its first use, since it allocates, and never destroyed, since a client may release it
// late.
CtrlWrapper& Wrapper() {
  static CtrlWrapper& wrapper = *new CtrlWrapper;
  return wrapper;
}

}  // namespace

WpaCliWrapper* GetWpacliWrapperHandle() { return &Wrapper(); }

// Closes the wrapper, even if the handle was requested several times.
void ReleaseWpacliWrapperHandle() { Wrapper().CloseCtrlInterface(); }

void SetExchangeObserver(ExchangeObserver observer) { gObserver = std::move(observer); }
