#include "host/wpa_cli_wrapper/message_collector.h"

#include <utility>

namespace host {
namespace {

constexpr size_t kMaxMessages = 256;
constexpr int kMaxTaken = 4096;  // at once: far more than a send buffer holds
constexpr size_t kMaxMessageBytes = 16384;

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
  for (int taken = 0; taken < kMaxTaken; ++taken) {
    const auto text = mConnection->Receive(mBuffer);
    if (!text) {
      return;
    }
    if (!IsMessage(*text)) {
      continue;  // the answer to ATTACH or DETACH
    }
    if (mMessages.size() == kMaxMessages) {
      mMessages.pop_front();
    }
    mMessages.emplace_back(*text);
  }
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
  if (!mStopped) {
    TakeArrived();
    mMessages.clear();
  }
}

void MessageCollector::Collect() {
  const std::lock_guard<std::mutex> lock(mLock);
  if (!mStopped && !mPolled) {
    TakeArrived();
  }
}

}  // namespace host
