// The wrapper: one client for commands, one attached for unsolicited messages.
//
// Opening, closing and a command with its answer hold mExchangeLock; a wait for a message holds
// only the listener's own lock, so that it and a command never wait for each other.
#pragma GCC visibility push(default)
#include "framework/wpa_cli_wrapper.h"
#include "host/wpa_cli_wrapper/exchange_observer.h"
#pragma GCC visibility pop

#include <algorithm>

#include "host/wpa_cli_wrapper/listener.h"

namespace {

using Clock = std::chrono::steady_clock;

ExchangeObserver gObserver;

class CtrlWrapper : public WpaCliWrapper {
 public:
  // Waits at most 10 s for the answer to ATTACH.
  int32_t OpenCtrlInterface(const std::string& path) override;
  // Waits for a command that another thread has under way; ends a wait for a message, unless it is
  // opened again at once.
  int32_t CloseCtrlInterface() override;
  // Waits at most 10 s for the answer. Messages that were read before are dropped, so that a late
  // one for an earlier command is not taken for this command's. A command that could not be sent is
  // sent once more after opening anew, which waits at most 10 s as well: a supplicant that has
  // reopened its socket refuses all who were connected.
  int32_t ExecuteCommand(const std::string& command, const std::string& extra, std::string& reply,
                         int32_t flag) override;
  // A limit below 0 counts as 0.
  int32_t GetResponse(std::string& message, const std::string& prefix, int32_t waitLimit) override;

 private:
  bool Connect(const std::string& path) REQUIRES(mExchangeLock);
  bool Reconnect() REQUIRES(mExchangeLock);
  int32_t Request(const std::string& command, std::string& reply) EXCLUDES(mExchangeLock);

  std::mutex mExchangeLock;
  std::string mPath GUARDED_BY(mExchangeLock);                         // empty when closed
  std::unique_ptr<ControlClient> mCommands GUARDED_BY(mExchangeLock);  // null when not connected
  Listener mListener;
};

// Puts new clients of `path` in place of those that there are, or leaves these; without messages
// when no thread can be started.
bool CtrlWrapper::Connect(const std::string& path) {
  auto commands = ControlClient::Open(path);
  auto monitor = ControlClient::Open(path);
  if (!commands || !monitor || !monitor->Attach()) {
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

// While a supplicant reopens its socket there is none, for less than a millisecond.
bool CtrlWrapper::Reconnect() {
  for (int i = 0; i < 10 && !ControlClient::Open(mPath); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return Connect(mPath);
}

int32_t CtrlWrapper::OpenCtrlInterface(const std::string& path) {
  CloseCtrlInterface();
  const std::lock_guard<std::mutex> lock(mExchangeLock);
  return Connect(path) ? kDone : kNotSent;
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
  int32_t result = mCommands ? mCommands->Request(command, reply) : kNotSent;
  if (result == kNotSent && !mPath.empty() && Reconnect()) {
    result = mCommands->Request(command, reply);
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

CtrlWrapper gWrapper;

}  // namespace

WpaCliWrapper* GetWpacliWrapperHandle() { return &gWrapper; }

// The handle is closed, however often it was asked for.
void ReleaseWpacliWrapperHandle() { gWrapper.CloseCtrlInterface(); }

void SetExchangeObserver(ExchangeObserver observer) { gObserver = std::move(observer); }
