// A WLAN supplicant with a driver behind it, for a workstation without either.
//
// It serves a supplicant's control interface, a UNIX datagram socket at <directory>/<interface>:
//   PING -> PONG    ATTACH, DETACH -> OK (FAIL to DETACH if not attached)    STATUS -> key=value
//   DRIVER <command> -> the driver model's answer     anything else -> UNKNOWN COMMAND
// STATUS is cut behind the last whole line within 4096 bytes, as long as a supplicant's answers
// get. Unsolicited messages go to every attached client. Any client of a supplicant can talk to it:
//   wpa_cli -p /tmp/ctrl -i wlan0 raw DRIVER SET_LATENCY_MODE 2
// Usage: construct, Start, let it serve on its own thread, Stop. In a program of its own: block
// SIGINT and SIGTERM, Start, sigwait for them, Stop.
// Limits: datagrams above 8192 bytes and senders without an address get no answer.
#ifndef NUVREL_HOST_EMULATED_DRIVER_EMULATED_DRIVER_H_
#define NUVREL_HOST_EMULATED_DRIVER_EMULATED_DRIVER_H_

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "host/emulated_driver/control_socket.h"
#include "host/emulated_driver/driver_model.h"
#include "host/emulated_driver/fault_rule.h"

namespace host {

struct EmulatedDriverOptions {
  std::string directory;  // must exist
  std::string interface;  // such as "wlan0"
  std::vector<FaultRule> faults;
  std::vector<ServiceClass> serviceClasses = DefaultServiceClasses();
  bool recordWire = false;  // grows with every command
};

// One command as received and as answered; no reply where a fault dropped it.
struct WireExchange {
  std::string command;
  std::string reply;
};

class EmulatedDriver {
 public:
  explicit EmulatedDriver(EmulatedDriverOptions options);
  EmulatedDriver(const EmulatedDriver&) = delete;
  EmulatedDriver& operator=(const EmulatedDriver&) = delete;
  ~EmulatedDriver();  // stops

  // Binds the socket and serves it. False with one line in `error` when that cannot be; the socket
  // file of an owner that has died is replaced, one that is served is not.
  bool Start(std::string* error);
  // Ends the serving thread, drops answers still held back, removes the socket file. The driver's
  // state stays for a later Start; clients must attach again. Without a Start it does nothing.
  void Stop();

  // Any thread may call these, running or not. They do not pass the socket and no fault hits them.
  std::string Status() const;  // uncut; see DriverModel::Status
  std::vector<WireExchange> Wire() const;
  std::vector<FaultCount> FaultCounts() const;

  std::string SocketPath() const;

 private:
  using Clock = std::chrono::steady_clock;
  struct Outgoing {
    PeerAddress to;  // empty: every attached peer
    std::string text;
  };

  void Serve();
  void SendDue();
  int MillisecondsToNextDue() const;  // -1 when nothing is held back
  void Handle(const PeerAddress& from, const std::string& command);
  DriverAnswer Answer(const PeerAddress& from, std::string_view command);

  const EmulatedDriverOptions mOptions;

  mutable std::mutex mMutex;
  DriverModel mModel;               // guarded by mMutex
  FaultPlan mFaults;                // guarded by mMutex
  std::vector<WireExchange> mWire;  // guarded by mMutex

  // The serving thread's own while it runs, Start's and Stop's otherwise.
  ControlSocket mSocket;
  std::multimap<Clock::time_point, Outgoing> mOutgoing;  // by due time, equal ones in order

  std::atomic<bool> mStopping = false;  // the serving thread ends
  std::thread mThread;
};

}  // namespace host

#endif  // NUVREL_HOST_EMULATED_DRIVER_EMULATED_DRIVER_H_
