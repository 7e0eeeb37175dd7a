// No exception leaves the service, as for lack of memory: what the framework calls runs through
// Contain whatever may throw, and goes on behind it. Example:
//   int32_t status = -1;
//   Contain(__func__, [&] { status = RunCommand(command, request); });
#pragma once

#include "service/log.h"

// Runs `step`. An exception ends the step alone and is logged under `name`, the caller's.
void Contain(const char* name, auto step) {
  try {
    step();
  } catch (...) {
    LOGE("[%s] Stopped by an exception", name);
  }
}
