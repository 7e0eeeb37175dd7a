// The framework-wide log mask, exported by libnuvrelcoreutils.so.
//
// Every log line of every framework library is gated by one bit of this mask; a clear bit means the
// line is not even formatted. The framework sets it before it creates services.
#ifndef NUVREL_FRAMEWORK_LOG_LEVEL_H_
#define NUVREL_FRAMEWORK_LOG_LEVEL_H_

#include <cstdint>

enum NuvrelLogBit : uint32_t {
  kNuvrelLogError = 1,
  kNuvrelLogWarn = 2,
  kNuvrelLogInfo = 4,
  kNuvrelLogDebug = 8,
};

extern "C" uint32_t gNuvrelLogLevel;

#endif  // NUVREL_FRAMEWORK_LOG_LEVEL_H_
