// Checks the driver's state against what the service was told.
//
// A driver model carries out every command that was answered with success. After a command of the
// service that may have changed the driver, the driver's status is compared with the model's:
//   DRIVER SET_LATENCY_MODE 2 -> OK        expected: latency_mode=2
//   STATUS-DRIVER                          held: latency_mode=1
//   "latency_mode is "1" in the driver, "2" by what the service was told"
// A difference is reported until it is gone. The driver is asked on a separate connection, not
// through the service.
//
// Limits: a supplicant cannot be checked when it does not know STATUS-DRIVER, when its driver
// answers in another form, or when it cuts the answer (from some 60 policies on); this is reported
// once. The emulated driver of the session itself tells its whole state.
// Whatever the driver held before the session is accepted.
#pragma once

#include <optional>
#include <set>
#include <string>

#include "emulated_driver/emulated_driver.h"
#include "wlc/session_output.h"

class Evidence {
 public:
  // `emulated` is borrowed; null when the driver is another process's.
  Evidence(std::string controlPath, const EmulatedDriver* emulated)
      : mControlPath(std::move(controlPath)), mEmulated(emulated) {}

  // Before each command: asks for the driver's state, unless it is known already.
  void Prepare();
  // After each command: writes the result of the check into `report`. Returns a notice for the
  // person, empty in most cases.
  std::string Check(CommandReport& report);
  // The driver's state, which is also put into `lines`. Nothing, with `lines` unchanged, when the
  // driver does not report it.
  std::optional<DriverModel> Ask(StatusLines& lines);

 private:
  bool Follow(const Exchange& exchange);

  const std::string mControlPath;
  const EmulatedDriver* const mEmulated;
  std::optional<DriverModel> mExpected;  // once the driver's state is known
  std::set<std::string> mCookies;        // of the policies that the service knows
  std::vector<std::string> mStanding;    // the differences found last
  std::string mCause;     // why nothing can be checked; then the supplicant is not asked again
  bool mNoticed = false;  // the notice has been given
};
