#include "host/wpa_cli_wrapper/listener.h"

#include <poll.h>
#include <sys/socket.h>

#include <csignal>
#include <cstdint>
#include <optional>
#include <utility>

namespace host {
namespace {

constexpr size_t kMaxMessages = 256;

// A thread that is started meanwhile gets no signals: they are for the program's own threads.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all{};
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &mBefore);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t mBefore{};
};

}  // namespace

Listener::Listener(std::unique_ptr<ControlClient> client) : mClient(std::move(client)) {
  const SignalsBlocked blocked;
  mThread = std::thread([this] { Read(); });
}

Listener::~Listener() { Stop(); }

void Listener::Read() {
  pollfd watched{mClient->Descriptor(), POLLIN, 0};
  do {
    poll(&watched, 1, -1);
  } while (Take());
}

// False once the listener has been stopped.
bool Listener::Take() {
  const std::lock_guard<std::mutex> lock(mLock);
  TakeArrived();
  mChanged.notify_all();
  return !mStopped;
}

void Listener::TakeArrived() {
  while (auto message = mStopped ? std::nullopt : mClient->Receive()) {
    if (mMessages.size() == kMaxMessages) {
      mMessages.pop_front();
    }
    mMessages.push_back(std::move(*message));
  }
}

bool Listener::Next(std::string& message, const std::string& prefix,
                    std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  const std::lock_guard<std::mutex> lock(mLock);
  TakeArrived();
  for (bool inTime = true; !mStopped && (inTime || !mMessages.empty());) {
    if (mMessages.empty()) {
      inTime = mChanged.wait_until(mLock, deadline) == std::cv_status::no_timeout;
      continue;
    }
    message = std::move(mMessages.front());
    mMessages.pop_front();
    if (message.starts_with(prefix)) {
      return true;
    }
  }
  message.clear();
  return false;
}

void Listener::Drop() {
  const std::lock_guard<std::mutex> lock(mLock);
  TakeArrived();
  mMessages.clear();
}

void Listener::Stop() {
  {
    const std::lock_guard<std::mutex> lock(mLock);
    mStopped = true;
  }
  shutdown(mClient->Descriptor(), SHUT_RD);  // ends the thread's poll
  mChanged.notify_all();
  if (mThread.joinable()) {
    mThread.join();
  }
}

}  // namespace host
