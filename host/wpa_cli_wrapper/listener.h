// Collects the supplicant's unsolicited messages, such as "<3>SVC-EVENT:svc_count:2". A thread
// reads them as they come, because a supplicant holds back messages for all its clients while one
// of them leaves many unread. The queue holds 256 messages and drops its oldest when it is full.
#ifndef NUVREL_HOST_WPA_CLI_WRAPPER_LISTENER_H_
#define NUVREL_HOST_WPA_CLI_WRAPPER_LISTENER_H_

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "framework/thread_annotations.h"
#include "host/wpa_cli_wrapper/control_client.h"

namespace host {

// Any thread may call these.
class Listener {
 public:
  // Takes over a client that is attached. Throws std::system_error when no thread can be started.
  explicit Listener(std::unique_ptr<ControlClient> client);
  ~Listener();  // stops first
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  // Waits at most `limit` for a message that begins with `prefix`, which replaces `message`; those
  // before it are dropped. False, with `message` empty, when none came or Stop was called.
  bool Next(std::string& message, const std::string& prefix, std::chrono::milliseconds limit)
      EXCLUDES(mLock);
  // Drops every message that has arrived by now.
  void Drop() EXCLUDES(mLock);
  // Ends the thread, and every wait in Next.
  void Stop() EXCLUDES(mLock);

 private:
  void Read() EXCLUDES(mLock);
  bool Take() EXCLUDES(mLock);
  void TakeArrived() REQUIRES(mLock);

  const std::unique_ptr<ControlClient> mClient;
  std::mutex mLock;
  std::condition_variable_any mChanged;  // notified when one of the next two has changed
  std::deque<std::string> mMessages GUARDED_BY(mLock);
  bool mStopped GUARDED_BY(mLock) = false;
  std::thread mThread;
};

}  // namespace host

#endif  // NUVREL_HOST_WPA_CLI_WRAPPER_LISTENER_H_
