// Why a supplicant's control interface does not open, as one sentence that says what to do:
//
//   there is no socket /run/wpa/wlan0; sockets in /run/wpa: p2p0, wlan1
#pragma once

#include <chrono>
#include <string>

// Examines the socket `path`. Empty when a client should be able to open it. `tried` is how long an
// attempt to open it took; without one, nothing is sent.
std::string WhyNotOpen(const std::string& path, std::chrono::steady_clock::duration tried = {});
