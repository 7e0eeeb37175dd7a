// Lets a workstation's tools observe the wrapper library: every command with its answer, and every
// wait for a message. The headset's library has no such function.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

struct Exchange {
  enum class Kind { kCommand, kWait };

  Kind kind;
  std::string asked;  // the command, such as "DRIVER SET_LATENCY_MODE 2", or the prefix waited for
  std::string answered;  // the reply or message, whole; empty when there was none
  int32_t result;  // what the library returned; negative when refused, not answered or not come
  std::chrono::steady_clock::time_point begin;
  std::chrono::steady_clock::time_point end;
};

using ExchangeObserver = std::function<void(const Exchange&)>;

// There is one observer, or none when it is empty. Set it only while no call runs. It is called on
// the thread that made the call, after the call has ended and with no lock held.
extern "C" void SetExchangeObserver(ExchangeObserver observer);
