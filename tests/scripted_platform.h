// The platform beneath the service in its in-process tests: the wpa-cli wrapper, the discovery
// client library and the file writes, all answering by script and recording what they were asked.
//
// A test sets the answers, runs the service, and compares `calls`: one line for each call, in
// order,
//   handle | open /run/wlan0 | DRIVER SET_LATENCY_MODE 2 | event <3>SVC-EVENT: 1500 | close | ...
// Success is answered with 1 and the peer query always with -1, so that only the sign of a result
// can matter, and only where it may.
//
// The free functions that the service calls reach the script through gPlatform: one script at a
// time. It takes no lock: the service lets one command at a time through.
#ifndef NUVREL_TESTS_SCRIPTED_PLATFORM_H_
#define NUVREL_TESTS_SCRIPTED_PLATFORM_H_

#include <deque>
#include <string>
#include <vector>

#include "framework/wpa_cli_wrapper.h"

using Lines = std::vector<std::string>;

class ScriptedPlatform : public WpaCliWrapper {
 public:
  ScriptedPlatform();
  ~ScriptedPlatform() override;

  int32_t OpenCtrlInterface(const std::string& path) override;
  int32_t CloseCtrlInterface() override;
  int32_t ExecuteCommand(const std::string& command, const std::string& extra, std::string& reply,
                         int32_t flag) override;
  int32_t GetResponse(std::string& message, const std::string& prefix, int32_t waitLimit) override;

  // The script.
  bool hasClient = true;
  bool hasHandle = true;
  int32_t networkResult = 1;
  int32_t openResult = 1;
  std::string interfaceName = "wlan0";
  std::string selfIp = "10.0.0.1";
  std::string peerIp = "10.0.0.2";
  std::string refuse;              // part of the commands to refuse; empty for none
  std::string reply = "OK";        // to every command, refused ones included
  std::deque<std::string> events;  // what GetResponse hands out
  size_t failingWrite = 0;         // which write to fail, counted from 1; 0 for none
  int writeError = 0;
  size_t writeLimit = 100;  // bytes that one write stores

  // The record.
  Lines calls;
  Lines earlierTexts;  // what each text to be filled held before
  Lines writes;

 private:
  ScriptedPlatform* const mOuter;
};

extern ScriptedPlatform* gPlatform;

#endif  // NUVREL_TESTS_SCRIPTED_PLATFORM_H_
