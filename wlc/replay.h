// What a device's log says of a session: the commands that the service handled, as a script for
// `wlc run`, and its settings.
//
//   D/libnuvrel...so( 1234): Handling WirelessLinkConfig command 0x0, 0x6
//   D/libnuvrel...so( 1234): portNum 5000, splToS 160, defToS 184 latency 20
//   W/libnuvrel...so( 1234): [AddLAPBPolicy:44] Unable to execute ...
// becomes
//   add-lapb-policy 5000 160 184 20
//   # W [AddLAPBPolicy:44] Unable to execute ...
// The lines are those of logcat in its forms brief, time, threadtime and long, or of
// `wlc run --log-level debug`. Lines of other tags are passed over.
//
// Limits: numbers are copied, and checked by `wlc run`. Commands that ran on several threads at
// once follow one another. A new process of the framework does not show. A line has less than
// 64 KiB.
#pragma once

#include <istream>
#include <string>

struct LoggedSession {
  std::string script;    // whole lines; warnings and errors are comments
  std::string settings;  // those that were logged last, as TOML; empty when none were
  bool hasCommands = false;
};

// Takes any bytes. Throws a Refusal, which calls the log `name`, when the service has no line in
// it.
LoggedSession ReadLog(std::istream& log, const std::string& name);
