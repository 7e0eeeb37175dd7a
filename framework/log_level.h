// The framework-wide log mask, exported by libnuvrelcoreutils.so.
//
// Every log line of every framework library is gated by one bit of this mask; a clear bit means the
// line is not even formatted. The framework sets it before it creates services.
#pragma once

#include <cstdint>

enum NuvrelLogBit : uint32_t {
  kNuvrelLogError = 1,
  kNuvrelLogWarn = 2,
  kNuvrelLogInfo = 4,
  kNuvrelLogDebug = 8,
};

extern "C" uint32_t gNuvrelLogLevel;
