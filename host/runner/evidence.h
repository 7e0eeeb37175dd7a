// Checks the driver's state against what the service was told.
//
// A driver model of our own carries out every command to which the service got a good answer. After
// a command that may have changed the driver, the driver is asked for its status and compared:
//   DRIVER SET_LATENCY_MODE 2 -> OK        expected: latency_mode=2
//   STATUS-DRIVER                          held: latency_mode=1
//   "latency_mode is "1" in the driver, "2" by what the service was told"
// A difference is told once: from then on what the driver holds is expected. The driver is asked on
// a connection of its own, not through the service.
//
// Limits: a supplicant that does not know STATUS-DRIVER, or whose driver tells something else,
// cannot be checked, nor can one that cuts its answer (from 64 policies on); that is said once.
// What the driver held before the session is taken as it is.
#pragma once

#include <optional>
#include <set>
#include <string>

#include "host/emulated_driver/driver_model.h"
#include "host/runner/session_output.h"

class Evidence {
 public:
  explicit Evidence(std::string controlPath) : mControlPath(std::move(controlPath)) {}

  // Before each command: learns what the driver holds, until it is known.
  void Prepare();
  // After each command: writes the result of the check into `report`. Returns a notice for the
  // person, empty in most cases.
  std::string Check(CommandReport& report);
  // What the driver holds now, also as `lines`; nothing, and `lines` as they were, when it does not
  // say.
  std::optional<DriverModel> Ask(StatusLines& lines);

 private:
  bool Follow(const Exchange& exchange);

  const std::string mControlPath;
  std::optional<DriverModel> mExpected;  // once the driver's state is known
  std::set<std::string> mCookies;        // of the policies that the service knows
  std::string mCause;     // why it cannot be checked at all: the supplicant is not asked again
  bool mNoticed = false;  // the notice has been given
};
