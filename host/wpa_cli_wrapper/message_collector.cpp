#include "host/wpa_cli_wrapper/message_collector.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>
#include <system_error>
#include <utility>

namespace host {
namespace {

constexpr size_t kMaxMessages = 256;
constexpr size_t kMaxMessageBytes = 16384;

// The answers to ATTACH and DETACH come the same way as the messages.
bool IsMessage(std::string_view text) {
  return text.starts_with("<") || text.starts_with("IFNAME=");
}

}  // namespace

MessageCollector::MessageCollector(std::unique_ptr<CtrlConnection> connection)
    : mBuffer(kMaxMessageBytes),
      mConnection(std::move(connection)),
      mStopEvent(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (mStopEvent < 0) {
    throw std::system_error(errno, std::generic_category(), "eventfd");
  }
  // The process's signals are for threads that know what to do with them.
  sigset_t all{};
  sigset_t before{};
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  try {
    mReader = std::thread([this] { Read(); });
  } catch (...) {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    close(mStopEvent);
    throw;
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

MessageCollector::~MessageCollector() {
  Stop();
  close(mStopEvent);
}

void MessageCollector::Stop() {
  if (!mReader.joinable()) {
    return;
  }
  eventfd_write(mStopEvent, 1);
  mReader.join();
  const std::lock_guard<std::mutex> lock(mLock);
  mConnection->Send("DETACH");
  mConnection.reset();
  mArrived.notify_all();
}

void MessageCollector::Read() {
  std::array<pollfd, 2> ready{{{mConnection->Descriptor(), POLLIN, 0}, {mStopEvent, POLLIN, 0}}};
  while (poll(ready.data(), ready.size(), -1) >= 0 || errno == EINTR) {
    const std::lock_guard<std::mutex> lock(mLock);
    if (ready[1].revents != 0 || !TakeArrived()) {
      return;
    }
    mArrived.notify_all();
  }
}

bool MessageCollector::TakeArrived() {
  // Bounded, so that a flood cannot hold the lock.
  for (size_t count = 0; count < kMaxMessages; ++count) {
    const ssize_t length =
        recv(mConnection->Descriptor(), mBuffer.data(), mBuffer.size(), MSG_DONTWAIT);
    if (length < 0) {
      return errno == EAGAIN || errno == EINTR;
    }
    const std::string_view text(mBuffer.data(), static_cast<size_t>(length));
    if (!IsMessage(text)) {
      continue;
    }
    if (mMessages.size() == kMaxMessages) {
      mMessages.pop_front();
    }
    mMessages.emplace_back(text);
  }
  return true;
}

bool MessageCollector::Next(std::string& message, const std::string& prefix,
                            std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  message.clear();
  std::unique_lock<std::mutex> lock(mLock);
  if (mConnection) {
    TakeArrived();  // also what the thread has not come round to, so that a limit of 0 works
  }
  while (mConnection) {
    while (!mMessages.empty()) {
      std::string first = std::move(mMessages.front());
      mMessages.pop_front();
      if (first.starts_with(prefix)) {
        message = std::move(first);
        return true;
      }
    }
    if (std::chrono::steady_clock::now() >= deadline) {
      return false;
    }
    mArrived.wait_until(lock, deadline);
  }
  return false;
}

void MessageCollector::Drop() {
  const std::lock_guard<std::mutex> lock(mLock);
  mMessages.clear();
}

}  // namespace host
