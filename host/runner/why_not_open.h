// Why a supplicant's control interface does not open, as one sentence that says what to do:
//
//   there is no socket /run/wpa/wlan0; sockets in /run/wpa: p2p0, wlan1
#pragma once

#include <chrono>
#include <string>

// Looks at the socket `path` without sending anything. Empty when nothing is found that keeps a
// client from it. `tried` is how long an attempt to open it took: a client waits 10 s for an
// answer.
std::string WhyNotOpen(const std::string& path, std::chrono::steady_clock::duration tried = {});
