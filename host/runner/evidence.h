// Evidence rather than hope: whether the driver holds what the service reported.
//
// The books are kept in the words of the driver's STATUS. Each exchange that the service was told
// had succeeded is entered, and after a command that may have changed the driver its STATUS is
// asked for and compared:
//   DRIVER SET_LATENCY_MODE 2 -> OK        books: latency_mode=2
//   STATUS                                 driver: latency_mode=1
//   "latency_mode is 1 in the driver, 2 by what the service was told"
// A difference is told once: the books then follow the driver.
//
// Limits: a supplicant whose STATUS lacks the driver's state cannot be checked; that is said once.
// What the driver held before the session is taken as it is.
#ifndef NUVREL_HOST_RUNNER_EVIDENCE_H_
#define NUVREL_HOST_RUNNER_EVIDENCE_H_

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/runner/driver_status.h"
#include "host/runner/session_output.h"

namespace host {

// The part of a STATUS that driver commands change, by its keys.
using DriverBooks = std::map<std::string, std::string>;

class Evidence {
 public:
  explicit Evidence(std::string controlPath) : mControlPath(std::move(controlPath)) {}

  // Before each command: learns what the driver holds, until it is known.
  void Prepare();
  // After each command: fills the check's result into `report`. Returns a notice to pass on, empty
  // in most cases.
  std::string Check(CommandReport& report);

 private:
  void Enter(const Exchange& exchange);
  std::string Ask(StatusLines& lines);

  std::string mControlPath;
  bool mKnown = false;    // the books are opened
  bool mNoticed = false;  // that it cannot be checked has been said
  DriverBooks mBooks;
  std::set<std::string> mPolicies;  // keys of the policies that the service has added
};

// One sentence for each entry in which the driver differs from the books.
std::vector<std::string> Compare(const DriverBooks& books, const DriverBooks& driver);

}  // namespace host

#endif  // NUVREL_HOST_RUNNER_EVIDENCE_H_
