// What a workstation tool sees of the service's talk with the driver: every exchange and every
// wait, as it passes the wrapper library. The headset's library has no such seam.
//
// One observer at a time. It is called on the thread that made the call, after the call has ended
// and with no lock of the library held; the texts are valid during the call only.
#ifndef NUVREL_HOST_WPA_CLI_WRAPPER_EXCHANGE_OBSERVER_H_
#define NUVREL_HOST_WPA_CLI_WRAPPER_EXCHANGE_OBSERVER_H_

#include <chrono>
#include <cstdint>
#include <string_view>

struct WpaExchange {
  std::string_view command;  // such as "DRIVER SET_LATENCY_MODE 2"
  std::string_view reply;    // as answered, line end included; empty when there was no answer
  int32_t result;            // what ExecuteCommand returned
  std::chrono::steady_clock::time_point begin;
  std::chrono::steady_clock::time_point end;
};

struct WpaWait {
  std::string_view prefix;
  std::string_view message;  // empty when none came
  int32_t result;            // what GetResponse returned
  std::chrono::steady_clock::time_point begin;
  std::chrono::steady_clock::time_point end;
};

class WpaExchangeObserver {
 public:
  virtual ~WpaExchangeObserver() = default;
  virtual void OnExchange(const WpaExchange& exchange) = 0;
  virtual void OnWait(const WpaWait& wait) = 0;
};

// Null removes it. The observer is borrowed and must outlive its use. Set it while no call runs.
extern "C" void SetWpaExchangeObserver(WpaExchangeObserver* observer);

#endif  // NUVREL_HOST_WPA_CLI_WRAPPER_EXCHANGE_OBSERVER_H_
