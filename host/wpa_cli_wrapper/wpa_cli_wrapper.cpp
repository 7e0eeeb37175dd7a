// The wrapper: one connection for commands, one attached for unsolicited messages.
//
// Locks: mExchangeLock for whoever opens, closes or has a command answered, and inside it, briefly,
// mMessagesLock, so that a wait for messages and a command never wait for each other.
#pragma GCC visibility push(default)
#include "framework/wpa_cli_wrapper.h"
#include "host/wpa_cli_wrapper/exchange_observer.h"
#pragma GCC visibility pop

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>

#include "host/wpa_cli_wrapper/ctrl_connection.h"
#include "host/wpa_cli_wrapper/idle_reader.h"
#include "host/wpa_cli_wrapper/message_collector.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;

std::atomic<WpaExchangeObserver*> gObserver{nullptr};

class CtrlWrapper : public WpaCliWrapper {
 public:
  ~CtrlWrapper() override { Disconnect(); }

  // Waits at most 10 s for the answer to ATTACH.
  int32_t OpenCtrlInterface(const std::string& path) override;
  // Waits for a command that another thread has under way.
  int32_t CloseCtrlInterface() override;
  // Waits at most 10 s for the answer, kNoAnswer after that. Messages that have arrived before are
  // dropped: a late answer to an earlier query must not pass for an answer to this one.
  int32_t ExecuteCommand(const std::string& command, const std::string& extra, std::string& reply,
                         int32_t flag) override;
  // A closed interface ends the wait. A limit below 0 counts as 0.
  int32_t GetResponse(std::string& message, const std::string& prefix, int32_t waitLimit) override;

 private:
  // With mExchangeLock held; Exchange takes it.
  bool Connect(const std::string& path);
  void Reconnect();
  void Use(std::unique_ptr<CtrlConnection> commands, std::unique_ptr<CtrlConnection> monitor);
  void Disconnect();
  int32_t Exchange(const std::string& command, std::string& reply);

  std::shared_ptr<MessageCollector> Messages();
  void SetMessages(std::shared_ptr<MessageCollector> messages);

  std::mutex mExchangeLock;
  std::string mPath;
  std::unique_ptr<CtrlConnection> mCommands;  // null when closed
  std::mutex mMessagesLock;
  std::shared_ptr<MessageCollector> mMessages;  // null when closed; shared with those who wait
};

std::shared_ptr<MessageCollector> CtrlWrapper::Messages() {
  const std::lock_guard<std::mutex> lock(mMessagesLock);
  return mMessages;
}

void CtrlWrapper::SetMessages(std::shared_ptr<MessageCollector> messages) {
  const std::lock_guard<std::mutex> lock(mMessagesLock);
  mMessages = std::move(messages);
}

int32_t CtrlWrapper::OpenCtrlInterface(const std::string& path) {
  const std::lock_guard<std::mutex> lock(mExchangeLock);
  Disconnect();
  try {
    return Connect(path) ? kDone : kNotSent;
  } catch (const std::exception&) {
    Disconnect();
    return kNotSent;  // out of threads or memory
  }
}

bool CtrlWrapper::Connect(const std::string& path) {
  auto commands = CtrlConnection::Open(path);
  auto monitor = CtrlConnection::Open(path);
  if (!commands || !monitor || monitor->Attach() != kDone) {
    return false;
  }
  Use(std::move(commands), std::move(monitor));
  mPath = path;
  return true;
}

// Connections that no late answer can reach. A peer that left one command unanswered is not waited
// for again: its answer to ATTACH comes among the messages.
void CtrlWrapper::Reconnect() {
  Disconnect();
  auto commands = CtrlConnection::Open(mPath);
  auto monitor = CtrlConnection::Open(mPath);
  if (commands && monitor && monitor->Send("ATTACH")) {
    Use(std::move(commands), std::move(monitor));
  }
}

void CtrlWrapper::Use(std::unique_ptr<CtrlConnection> commands,
                      std::unique_ptr<CtrlConnection> monitor) {
  SetMessages(std::make_shared<MessageCollector>(std::move(monitor)));
  mCommands = std::move(commands);
  CollectWhenIdle(mMessages);
}

void CtrlWrapper::Disconnect() {
  mCommands.reset();
  if (const auto messages = Messages()) {
    messages->Stop();
    SetMessages(nullptr);
  }
}

int32_t CtrlWrapper::CloseCtrlInterface() {
  const std::lock_guard<std::mutex> lock(mExchangeLock);
  Disconnect();
  return kDone;
}

int32_t CtrlWrapper::Exchange(const std::string& command, std::string& reply) {
  const std::lock_guard<std::mutex> lock(mExchangeLock);
  if (!mCommands) {
    reply.clear();
    return kNotSent;
  }
  mMessages->Drop();  // set and reset by those who hold mExchangeLock
  const int32_t result = mCommands->Request(command, reply);
  if (result == kNoAnswer) {
    Reconnect();
  }
  const bool refused = reply.starts_with("FAIL") || reply.starts_with("UNKNOWN COMMAND");
  return refused ? kRefused : result;
}

int32_t CtrlWrapper::ExecuteCommand(const std::string& command, const std::string& /*extra*/,
                                    std::string& reply, int32_t /*flag*/) {
  WpaExchangeObserver* observer = gObserver;
  if (observer == nullptr) {
    return Exchange(command, reply);
  }
  const Clock::time_point begin = Clock::now();
  const int32_t result = Exchange(command, reply);
  observer->OnExchange({command, reply, result, begin, Clock::now()});
  return result;
}

int32_t CtrlWrapper::GetResponse(std::string& message, const std::string& prefix,
                                 int32_t waitLimit) {
  const Clock::time_point begin = Clock::now();
  const std::chrono::milliseconds limit(std::max(waitLimit, 0));
  const auto messages = Messages();
  message.clear();
  const bool came = messages && messages->Next(message, prefix, limit);
  const int32_t result = came ? kDone : kNoAnswer;
  if (WpaExchangeObserver* observer = gObserver) {
    observer->OnWait({prefix, message, result, begin, Clock::now()});
  }
  return result;
}

std::mutex gHandleLock;
std::unique_ptr<WpaCliWrapper> gHandle;  // what is never given back is closed at the process's end

}  // namespace
}  // namespace host

WpaCliWrapper* GetWpacliWrapperHandle() {
  const std::lock_guard<std::mutex> lock(host::gHandleLock);
  if (!host::gHandle) {
    host::gHandle.reset(new (std::nothrow) host::CtrlWrapper);
  }
  return host::gHandle.get();
}

// The handle is closed and gone, however often it was asked for; no call on it may be under way.
void ReleaseWpacliWrapperHandle() {
  const std::lock_guard<std::mutex> lock(host::gHandleLock);
  host::gHandle.reset();
}

void SetWpaExchangeObserver(WpaExchangeObserver* observer) { host::gObserver = observer; }
