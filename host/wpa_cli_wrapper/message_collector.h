// The supplicant's unsolicited messages, such as "<3>SVC-EVENT:svc_count:2".
//
// They wait in the socket until somebody asks for one or drops them, or until Collect takes them
// into a queue of 256 messages that loses its oldest when it is full. Messages of up to 16384 bytes
// arrive whole. When the peer vanishes a wait goes on in silence, as the socket does.
#ifndef NUVREL_HOST_WPA_CLI_WRAPPER_MESSAGE_COLLECTOR_H_
#define NUVREL_HOST_WPA_CLI_WRAPPER_MESSAGE_COLLECTOR_H_

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/wpa_cli_wrapper/ctrl_connection.h"

namespace host {

class MessageCollector {
 public:
  // Takes over a connection that is attached, or whose ATTACH is on its way.
  explicit MessageCollector(std::unique_ptr<CtrlConnection> connection);
  ~MessageCollector();  // stops first
  MessageCollector(const MessageCollector&) = delete;
  MessageCollector& operator=(const MessageCollector&) = delete;

  // Waits at most `limit` in all for a message that begins with `prefix`. Messages before it are
  // dropped, the whole one replaces the content of `message`. False, with `message` empty, when
  // none came or the collector was stopped.
  bool Next(std::string& message, const std::string& prefix, std::chrono::milliseconds limit);

  // Forgets every message that has arrived by now.
  void Drop();

  // Takes what has arrived into the queue, unless somebody waits for it in Next.
  void Collect();

  // Detaches, without waiting for the answer, and closes the connection; ends every wait in Next.
  // Allowed twice, from one thread at a time.
  void Stop();

 private:
  void TakeArrived();  // with mLock held

  std::mutex mLock;
  std::condition_variable mChanged;  // of all below
  std::deque<std::string> mMessages;
  std::vector<char> mBuffer;
  std::unique_ptr<CtrlConnection> mConnection;  // null once stopped
  bool mStopped = false;
  bool mPolled = false;  // by one of the threads in Next; the others wait for it
};

}  // namespace host

#endif  // NUVREL_HOST_WPA_CLI_WRAPPER_MESSAGE_COLLECTOR_H_
