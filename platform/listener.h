// Collects the supplicant's unsolicited messages, such as "<3>SVC-EVENT:svc_count:2". A thread
// reads them as they come, because a supplicant holds back messages for all its clients while one
// of them leaves many unread. The queue holds 256 messages and drops its oldest when it is full;
// a message for which there is no memory is lost.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "framework/thread_annotations.h"
#include "platform/control_client.h"

class Listener {
 public:
  ~Listener() { Stop(); }

  // Stops, then reads messages from `client`, which is attached, until the next Stop. Throws
  // std::system_error when no thread can be started. One thread at a time calls Start and Stop.
  void Start(std::unique_ptr<ControlClient> client) EXCLUDES(mLock);
  // Ends the thread and every wait, closes the client and drops what has arrived. A Next still
  // waiting when Start is called again goes on with the new client's messages.
  void Stop() EXCLUDES(mLock);

  // Waits at most `limit` for a message that begins with `prefix` and puts it into `message`;
  // earlier messages are dropped. False, with `message` empty, when none came or the listener was
  // stopped. Any thread may call it.
  bool Next(std::string& message, const std::string& prefix, std::chrono::milliseconds limit)
      EXCLUDES(mLock);
  // Drops every message that has been read by now. Any thread may call it.
  void Drop() EXCLUDES(mLock);

 private:
  void Read(int descriptor) EXCLUDES(mLock);

  std::mutex mLock;
  std::condition_variable_any mChanged;  // notified when mClient or mMessages has changed
  std::unique_ptr<ControlClient> mClient GUARDED_BY(mLock);  // null when stopped
  std::deque<std::string> mMessages GUARDED_BY(mLock);
  std::thread mThread;
};
