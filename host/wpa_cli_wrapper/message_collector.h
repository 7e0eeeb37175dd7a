// The supplicant's unsolicited messages, such as "<3>SVC-EVENT:svc_count:2".
//
// A supplicant detaches a listener that does not read, so a thread reads all the time, into a queue
// of 256 messages that loses its oldest when it is full. The thread takes no signals. When the peer
// vanishes it waits in silence, as the socket does. Messages of up to 16384 bytes arrive whole.
#ifndef NUVREL_HOST_WPA_CLI_WRAPPER_MESSAGE_COLLECTOR_H_
#define NUVREL_HOST_WPA_CLI_WRAPPER_MESSAGE_COLLECTOR_H_

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/wpa_cli_wrapper/ctrl_connection.h"

namespace host {

class MessageCollector {
 public:
  // Takes over a connection that is attached, or whose ATTACH is on its way. Throws
  // std::system_error when there is no event descriptor or thread to be had.
  explicit MessageCollector(std::unique_ptr<CtrlConnection> connection);
  ~MessageCollector();  // stops first
  MessageCollector(const MessageCollector&) = delete;
  MessageCollector& operator=(const MessageCollector&) = delete;

  // Waits at most `limit` in all for a message that begins with `prefix`. Messages before it are
  // dropped, the whole one replaces the content of `message`. False, with `message` empty, when
  // none came or the collector was stopped.
  bool Next(std::string& message, const std::string& prefix, std::chrono::milliseconds limit);

  // Forgets every message that the thread has collected by now.
  void Drop();

  // Detaches, without waiting for the answer, and closes the connection; wakes whoever waits in
  // Next. Allowed twice, from one thread at a time.
  void Stop();

 private:
  void Read();
  bool TakeArrived();  // with mLock held; false when the socket is of no more use

  std::mutex mLock;
  std::condition_variable mArrived;
  std::deque<std::string> mMessages;
  std::vector<char> mBuffer;
  std::unique_ptr<CtrlConnection> mConnection;  // null once stopped
  int mStopEvent;
  std::thread mReader;
};

}  // namespace host

#endif  // NUVREL_HOST_WPA_CLI_WRAPPER_MESSAGE_COLLECTOR_H_
