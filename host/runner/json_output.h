// One JSON object a line for each command, for scripts. Example, folded here:
//   {"command":"apply-link-settings","parameters":{},"status":0,"microseconds":812,
//    "exchanges":[{"command":"DRIVER SET_LATENCY_MODE 2","reply":"OK","result":0,
//                  "microseconds":120}],
//    "waits":[],"checked":true,"differences":[]}
//
// "waits" are the driver messages waited for: prefix, message, result, microseconds. "checked" says
// whether the driver was asked for its state, "differences" where it is not as reported. Bytes that
// are not UTF-8 are replaced. Notices go to standard error.
#ifndef NUVREL_HOST_RUNNER_JSON_OUTPUT_H_
#define NUVREL_HOST_RUNNER_JSON_OUTPUT_H_

#include <string>

#include "host/runner/session_output.h"

namespace host {

class JsonOutput : public SessionOutput {
 public:
  void OnCommandEnd(const CommandReport& report) override;
  void OnNotice(const std::string& text) override;
};

}  // namespace host

#endif  // NUVREL_HOST_RUNNER_JSON_OUTPUT_H_
