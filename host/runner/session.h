// Plays commands on the service and tells the outputs what happens.
//
// A command goes through the service host; what it makes of the driver is seen at the wrapper
// library's seam, what the driver then holds through Evidence. Example: one
// "apply-link-settings" gives OnCommandBegin, two or three OnExchange, OnCommandEnd.
//
// The host, the outputs and the stop flag are borrowed. One session at a time, on one thread.
#ifndef NUVREL_HOST_RUNNER_SESSION_H_
#define NUVREL_HOST_RUNNER_SESSION_H_

#include <chrono>
#include <csignal>
#include <string>
#include <vector>

#include "host/runner/evidence.h"
#include "host/runner/service_host.h"
#include "host/runner/session_output.h"
#include "host/wpa_cli_wrapper/exchange_observer.h"

namespace host {

class Session : private WpaExchangeObserver {
 public:
  // `controlPath` is the socket whose STATUS is asked. The session ends early once `stop` is set.
  Session(ServiceHost& service, const std::string& controlPath, std::vector<SessionOutput*> outputs,
          const volatile std::sig_atomic_t& stop);
  ~Session() override;
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void Play(const Step& step);
  // Tells the outputs the driver's final state.
  void Finish();
  bool Stopped() const { return mStop != 0; }
  // Whether every status so far was zero or more.
  bool AllSucceeded() const { return mAllSucceeded; }

 private:
  void PlayCommand(const Command& command);
  void Pause(std::chrono::milliseconds pause) const;
  void OnExchange(const WpaExchange& exchange) override;
  void OnWait(const WpaWait& wait) override;

  ServiceHost& mService;
  Evidence mEvidence;
  std::string mControlPath;
  std::vector<SessionOutput*> mOutputs;
  const volatile std::sig_atomic_t& mStop;
  CommandReport mReport;  // of the command being played
  bool mAllSucceeded = true;
};

}  // namespace host

#endif  // NUVREL_HOST_RUNNER_SESSION_H_
