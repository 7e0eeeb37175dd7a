// A WLAN supplicant with a driver behind it, for a workstation that has neither.
//
// It serves a supplicant's control interface, a UNIX datagram socket at <directory>/<interface>:
//   PING -> PONG                     ATTACH, DETACH -> OK (FAIL to DETACH if not attached)
//   STATUS-DRIVER -> key=value       STATUS -> the same, and a message on the state to all attached
//   DRIVER <command> -> the driver model's answer     anything else -> UNKNOWN COMMAND
// A status is cut after the last whole line within 4096 bytes, the limit of a supplicant's answers.
// Messages go to every attached client before the answer to the command that caused them.
// Any client of a supplicant can talk to it:
//   wpa_cli -p /tmp/ctrl -i wlan0 raw DRIVER SET_LATENCY_MODE 2
// All this is as wpa_supplicant does it on a headset; see control_socket.h for clients that do not
// read.
// Usage: construct, Start, let it serve on its own thread, Stop. In a program of its own: block
// SIGINT and SIGTERM, Start, sigwait for them, Stop.
// Limits: datagrams above 8192 bytes and senders without an address get no answer.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "emulated_driver/control_socket.h"
#include "emulated_driver/driver_model.h"
#include "emulated_driver/fault_rule.h"
#include "framework/thread_annotations.h"

// One command as received, the messages it causes, and its reply, which is empty when a fault
// dropped it.
struct WireExchange {
  std::string command;
  std::vector<std::string> messages;
  std::string reply;
};

struct EmulatedDriverOptions {
  std::string directory = {};  // made where there is none
  std::string interface = "wlan0";
  std::vector<FaultRule> faults = {};
  std::vector<ServiceClass> serviceClasses = {};  // see DriverModel
  // Called with each command before it is answered, on the serving thread.
  std::function<void(const WireExchange&)> observer = {};
};

class EmulatedDriver {
 public:
  explicit EmulatedDriver(EmulatedDriverOptions options);
  ~EmulatedDriver() { Stop(); }

  // Binds the socket and serves it until Stop, or throws a Refusal. Replaces a socket file that
  // nobody serves any more.
  void Start();
  // Ends the serving thread, drops delayed answers and removes the socket file. The driver keeps
  // its state for a later Start; clients must attach again. Does nothing without a Start.
  void Stop();

  // Any thread may call these at any time. They do not use the socket, and faults do not apply.
  std::string Status() const;  // whole; see DriverModel::Status
  std::vector<FaultRule> Faults() const;

  std::string SocketPath() const { return mOptions.directory + "/" + mOptions.interface; }

 private:
  using Clock = std::chrono::steady_clock;
  struct Outgoing {
    PeerAddress to;  // empty: every attached peer
    std::string text;
  };

  void Serve();
  void SendDue();
  int MillisecondsToNextDue() const;  // -1 when nothing waits to be sent
  void Handle(const PeerAddress& from, const std::string& command) EXCLUDES(mMutex);
  DriverAnswer Answer(const PeerAddress& from, std::string_view command) REQUIRES(mMutex);

  const EmulatedDriverOptions mOptions;

  mutable std::mutex mMutex;
  DriverModel mModel GUARDED_BY(mMutex);
  FaultPlan mFaults GUARDED_BY(mMutex);

  // Used by the serving thread while it runs, by Start and Stop otherwise.
  ControlSocket mSocket;
  std::multimap<Clock::time_point, Outgoing> mOutgoing;  // by due time, equal ones in order

  std::thread mThread;
};
