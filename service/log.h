// Log lines: one macro a level, each gated by its bit of the framework-wide mask.
//
// A line whose bit is clear costs one load and one branch: its arguments are not evaluated. Texts
// are written out in full where they are logged; those that begin with "[%s:%d]" take NUVREL_HERE
// as their first argument. Example: LOGW("[%s:%d] bad fd", NUVREL_HERE);
//
// ERROR: something of the framework's failed or is missing, the driver's service classes cannot be
// read, or no service class ID is free. WARN: a driver command, the control interface or the sysfs
// node failed, or an operation lacks what it needs. INFO: the settings, and what the driver was
// told and has told. DEBUG: the course of an operation.
//
// A file whose lines carry another tag defines LOG_TAG before it includes this header.
#pragma once

#include <android/log.h>

#include "framework/log_level.h"

#ifndef LOG_TAG
#define LOG_TAG "libnuvrelwirelesslinkconfigservice.so"
#endif

// NOLINTBEGIN(cppcoreguidelines-macro-usage)
#define NUVREL_HERE __func__, __LINE__

#define NUVREL_LOG(bit, priority, ...)                     \
  do {                                                     \
    if ((gNuvrelLogLevel & (bit)) != 0) [[unlikely]]       \
      __android_log_print(priority, LOG_TAG, __VA_ARGS__); \
  } while (false)

#define LOGE(...) NUVREL_LOG(kNuvrelLogError, ANDROID_LOG_ERROR, __VA_ARGS__)
#define LOGW(...) NUVREL_LOG(kNuvrelLogWarn, ANDROID_LOG_WARN, __VA_ARGS__)
#define LOGI(...) NUVREL_LOG(kNuvrelLogInfo, ANDROID_LOG_INFO, __VA_ARGS__)
#define LOGD(...) NUVREL_LOG(kNuvrelLogDebug, ANDROID_LOG_DEBUG, __VA_ARGS__)

#define LOG_ENTRY() LOGD("[%s:%d] >>", NUVREL_HERE)
#define LOG_EXIT() LOGD("[%s:%d] <<", NUVREL_HERE)
// NOLINTEND(cppcoreguidelines-macro-usage)
