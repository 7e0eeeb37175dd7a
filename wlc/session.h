// Plays commands on the service and tells the outputs what happens.
//
// The service's driver commands are observed in the wrapper library, and Evidence checks the
// driver's state. Example: one "apply-link-settings" gives OnCommandBegin, two or three OnExchange,
// OnCommandEnd.
//
// The host and the outputs are borrowed. One session at a time, on one thread.
#pragma once

#include <string>
#include <vector>

#include "wlc/evidence.h"
#include "wlc/interruption.h"
#include "wlc/output_file.h"
#include "wlc/service_host.h"
#include "wlc/session_output.h"
#include "wlc/steps.h"

class Session {
 public:
  // `controlPath` is the socket that is asked for the driver's state; `emulated` the driver behind
  // it, borrowed, when that is one of this process.
  Session(ServiceHost& service, const std::string& controlPath, const SessionOutputs& outputs,
          const EmulatedDriver* emulated = nullptr);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Tells the outputs how it begins.
  void Start(const SessionInfo& info);
  // Ends early once the session has been stopped.
  void Play(const std::vector<Step>& steps);
  // Releases the service and tells the outputs how all ended.
  const SessionEnd& Finish(bool strict);
  // By a signal, or because an output cannot be written.
  static bool Stopped() { return InterruptedBy() != 0 || !WriteFailure().empty(); }

 private:
  void PlayCommand(const Command& command);
  std::string MissingStep() const;
  void Expect(const Expectation& expectation);
  void Release();
  void EndCommand();
  void Notice(const std::string& text);

  ServiceHost& mService;
  const std::string mControlPath;
  Evidence mEvidence;
  const EmulatedDriver* const mEmulated;
  const SessionOutputs& mOutputs;
  CommandReport mReport;  // of the command being played
  size_t mWaits = 0;      // of it, for messages
  bool mShowsPath = true;
  bool mInitialised = false;
  bool mHasFlows = false;  // init-lapb-flow has succeeded since
  SessionEnd mEnd;         // what is known of it so far
};
