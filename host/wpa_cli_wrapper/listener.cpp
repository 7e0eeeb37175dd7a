#include "host/wpa_cli_wrapper/listener.h"

#include <poll.h>
#include <sys/socket.h>

#include <csignal>
#include <cstdint>
#include <optional>
#include <utility>

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

void Listener::Start(std::unique_ptr<ControlClient> client) {
  const SignalsBlocked blocked;
  const std::lock_guard<std::mutex> lock(mLock);
  mThread = std::thread([this, descriptor = client->Descriptor()] { Read(descriptor); });
  mClient = std::move(client);
}

void Listener::Stop() {
  std::unique_ptr<ControlClient> client;  // closed when its thread has ended
  {
    const std::lock_guard<std::mutex> lock(mLock);
    client = std::move(mClient);
    mMessages.clear();
    ++mStops;
  }
  mChanged.notify_all();
  if (client) {
    shutdown(client->Descriptor(), SHUT_RD);  // ends the thread's poll
    mThread.join();
  }
}

void Listener::Read(int descriptor) {
  pollfd watched{descriptor, POLLIN, 0};
  for (;;) {
    poll(&watched, 1, -1);
    const std::lock_guard<std::mutex> lock(mLock);
    if (!mClient) {
      return;
    }
    TakeArrived();
    mChanged.notify_all();
  }
}

void Listener::TakeArrived() {
  while (auto message = mClient ? mClient->Receive() : std::nullopt) {
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
  const uint64_t stops = mStops;
  for (bool inTime = mClient != nullptr; mStops == stops && (inTime || !mMessages.empty());) {
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
