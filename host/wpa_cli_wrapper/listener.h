// Collects the supplicant's unsolicited messages, such as "<3>SVC-EVENT:svc_count:2". A thread
// reads them as they come, because a supplicant holds back messages for all its clients while one
// of them leaves many unread. The queue holds 256 messages and drops its oldest when it is full.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "framework/thread_annotations.h"
#include "host/wpa_cli_wrapper/control_client.h"

class Listener {
 public:
  ~Listener() { Stop(); }

  // Stops, and reads from `client`, which is attached, until the next Stop. Throws
  // std::system_error when no thread can be started. Start and Stop are called by one thread at a
  // time.
  void Start(std::unique_ptr<ControlClient> client) EXCLUDES(mLock);
  // Ends the thread and every wait, closes the client and drops what has arrived. A wait that has
  // not noticed by the next Start goes on with what that one's client receives.
  void Stop() EXCLUDES(mLock);

  // Waits at most `limit` for a message that begins with `prefix`, which replaces `message`; those
  // before it are dropped. False, with `message` empty, when none came or nothing is read
  // any more. Any thread may call it.
  bool Next(std::string& message, const std::string& prefix, std::chrono::milliseconds limit)
      EXCLUDES(mLock);
  // Drops every message that has been read by now. Any thread may call it.
  void Drop() EXCLUDES(mLock);

 private:
  void Read(int descriptor) EXCLUDES(mLock);

  std::mutex mLock;
  std::condition_variable_any mChanged;  // notified when one of the next two has changed
  std::unique_ptr<ControlClient> mClient GUARDED_BY(mLock);  // null when stopped
  std::deque<std::string> mMessages GUARDED_BY(mLock);
  std::thread mThread;
};
