// The platform beneath the service in its in-process tests: the wpa-cli wrapper, the discovery
// client library, the log and the file writes, all answering by script and recording what they are
// asked.
//
// A call is recorded as "-> handle" or "-> DRIVER SET_LATENCY_MODE 2", with " over <text>" when the
// text it is to fill still holds one. A log line is recorded as its priority's letter, its tag
// where that is not the service's own ("-" for a null tag), and its text with "#" for the source
// line:
//   W [ApplySysfsLinkConfiguration:#] bad fd
// Success is answered with 0 and 1 in turn and the peer query always with -1, so that only the sign
// of a result can matter, and only where it may. It takes no lock, since the service lets one
// command at a time through.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "framework/wpa_cli_wrapper.h"

class ScriptedPlatform : public WpaCliWrapper {
 public:
  ScriptedPlatform();
  ~ScriptedPlatform() override;

  int32_t OpenCtrlInterface(const std::string& given) override;
  int32_t CloseCtrlInterface() override;
  int32_t ExecuteCommand(const std::string& command, const std::string& extra, std::string& text,
                         int32_t flag) override;
  int32_t GetResponse(std::string& message, const std::string& prefix, int32_t waitLimit) override;
  virtual void Called(const std::string& call) { record.push_back("-> " + call); }
  virtual void Log(const std::string& line) { record.push_back(line); }

  std::vector<std::string> TakeRecord() { return std::exchange(record, {}); }

  int32_t client = 1, handle = 1;  // whether there is one
  int32_t network = 1, open = 1;   // results of GetNetworkInterfaceInfo and OpenCtrlInterface
  int32_t failingWrite = 0;        // which write of the process fails, counted from 1, ...
  int32_t writeError = 0;          // ... and with which errno
  int32_t writeLimit = 100;        // bytes that one write stores
  std::string interface = "wlan0", self = "10.0.0.1", peer = "10.0.0.2";
  std::string reply = "OK";           // to every command, refused ones included
  std::string refuse = "none";        // part of the commands to refuse
  std::deque<std::string> messages;   // what GetResponse hands out
  const std::string* path = nullptr;  // what OpenCtrlInterface is to be given, and no copy of it

  std::vector<std::string> record;

 private:
  int32_t mSuccesses = 0;
  ScriptedPlatform* const mOuter;  // scripts may be nested: the innermost one answers
};

extern ScriptedPlatform* gPlatform;  // for the free functions that the service calls
