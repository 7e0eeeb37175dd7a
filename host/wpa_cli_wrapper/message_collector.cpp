#include "host/wpa_cli_wrapper/message_collector.h"

#include <string_view>
#include <utility>

namespace host {
namespace {

constexpr size_t kLongQueue = 10;  // far below what fills a supplicant's send buffer
constexpr size_t kMaxMessages = 256;
constexpr size_t kMaxMessageBytes = 16384;

// The answers to ATTACH and DETACH come the same way as the messages.
bool IsMessage(std::string_view text) {
  return text.starts_with("<") || text.starts_with("IFNAME=");
}

}  // namespace

MessageCollector::MessageCollector(std::unique_ptr<CtrlConnection> connection)
    : mBuffer(kMaxMessageBytes), mConnection(std::move(connection)) {}

MessageCollector::~MessageCollector() { Stop(); }

void MessageCollector::Stop() {
  std::unique_lock<std::mutex> lock(mLock);
  if (mStopped) {
    return;
  }
  mStopped = true;
  mConnection->Send("DETACH");
  mConnection->EndWaits();
  mChanged.notify_all();
  mChanged.wait(lock, [this] { return !mPolled; });
  mConnection.reset();
}

void MessageCollector::TakeArrived() {
  // Bounded, so that a flood cannot hold the lock.
  size_t taken = 0;
  for (; mMessages.size() < kMaxMessages; ++taken) {
    const auto text = mConnection->Receive(mBuffer);
    if (!text) {
      break;
    }
    if (IsMessage(*text)) {
      mMessages.emplace_back(*text);
    }
  }
  mMayBeDetached = mMayBeDetached || taken >= kLongQueue;
}

bool MessageCollector::Next(std::string& message, const std::string& prefix,
                            std::chrono::milliseconds limit) {
  const auto deadline = CtrlConnection::Clock::now() + limit;
  message.clear();
  std::unique_lock<std::mutex> lock(mLock);
  while (!mStopped) {
    TakeArrived();
    while (!mMessages.empty()) {
      std::string first = std::move(mMessages.front());
      mMessages.pop_front();
      if (first.starts_with(prefix)) {
        message = std::move(first);
        return true;
      }
    }
    if (CtrlConnection::Clock::now() >= deadline) {
      mMayBeDetached = true;
      return false;
    }
    if (mPolled) {
      mChanged.wait_until(lock, deadline);
      continue;
    }
    mPolled = true;
    lock.unlock();
    mConnection->Wait(deadline);
    lock.lock();
    mPolled = false;
    mChanged.notify_all();
  }
  return false;
}

void MessageCollector::Drop() {
  const std::lock_guard<std::mutex> lock(mLock);
  if (mStopped) {
    return;
  }
  TakeArrived();
  mMessages.clear();
  if (mMayBeDetached) {
    // A second ATTACH alone would have a supplicant send every message twice.
    mMayBeDetached = !mConnection->Send("DETACH") || !mConnection->Send("ATTACH");
  }
}

}  // namespace host
