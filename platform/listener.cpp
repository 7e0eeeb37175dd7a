#include "platform/listener.h"

#include <poll.h>
#include <sys/socket.h>

#include <new>

namespace {

constexpr size_t kMaxMessages = 256;

}  // namespace

void Listener::Start(std::unique_ptr<ControlClient> client) {
  Stop();
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
    try {
      while (auto message = mClient->Receive()) {
        if (mMessages.size() == kMaxMessages) {
          mMessages.pop_front();
        }
        mMessages.push_back(std::move(*message));
      }
    } catch (const std::bad_alloc&) {  // this message is lost
    }
    mChanged.notify_all();
  }
}

bool Listener::Next(std::string& message, const std::string& prefix,
                    std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  const std::lock_guard<std::mutex> lock(mLock);
  for (bool timeLeft = true;;) {  // looks once more after the time is up: this thread may wake late
    while (!mMessages.empty()) {
      message = std::move(mMessages.front());
      mMessages.pop_front();
      if (message.starts_with(prefix)) {
        return true;
      }
    }
    if (!mClient || !timeLeft) {
      message.clear();
      return false;
    }
    timeLeft = mChanged.wait_until(mLock, deadline) == std::cv_status::no_timeout;
  }
}

void Listener::Drop() {
  const std::lock_guard<std::mutex> lock(mLock);
  mMessages.clear();
}
