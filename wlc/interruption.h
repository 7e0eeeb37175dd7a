// SIGINT (^C), SIGTERM and SIGHUP: how they end wlc.
//
//   ^C in a session        after the running command; a second one ends it at once
//   any other              in good order within three seconds, otherwise at once
// Either way the private directory and the socket files of wlc's clients are removed, and the
// exit status is 128 plus the signal's number.
//
// A thread takes the signals, which are blocked in all others. Unlike a signal handler it may
// remove files, and unlike the thread of the session it is never kept by a service that does not
// return. A signal that was ignored when wlc started stays ignored, as nohup wants it.
#pragma once

#include <array>
#include <chrono>
#include <streambuf>
#include <string_view>

// First of all, before there is another thread or a file to remove.
void WatchSignals();

// Ends the process with `status`, without destructors: removes the files and says `message`, if
// somebody reads it.
[[noreturn]] void EndAtOnce(std::string_view message, int status);

// From now on the first ^C waits for the running command.
void LetCommandsEnd();

// The number of the last signal; 0 before the first.
int InterruptedBy();

// Returns after `pause`, or once there has been a signal; a negative one never ends of itself.
void PauseUntilInterrupted(std::chrono::milliseconds pause);

// Standard input, which ends at the first signal.
class InterruptibleInput : public std::streambuf {
 private:
  int_type underflow() override;

  std::array<char, 4096> mBuffer;
};
