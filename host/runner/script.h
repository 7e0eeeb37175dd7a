// Where the steps of a session come from: the built-in session, the words of a command line, a
// script, standard input.
//
// A script has one step a line; blanks around it, empty lines and what follows a "#" do not count:
//   add-lapb-policy 5000 160 184 20   # video
//   sleep 100
//   repeat 10 apply-link-settings
// Lines are shorter than 4096 bytes.
#ifndef NUVREL_HOST_RUNNER_SCRIPT_H_
#define NUVREL_HOST_RUNNER_SCRIPT_H_

#include <istream>
#include <span>
#include <string>
#include <vector>

#include "host/runner/session_command.h"

namespace host {

// A whole session that sends every driver command: a policy for a latency that the driver has
// already, one for a new latency, a port bound anew.
std::vector<Step> BuiltInSession();

// Reads a script line by line.
class ScriptReader {
 public:
  // `name` is what errors call it. `input` is borrowed.
  ScriptReader(std::istream& input, std::string name) : mInput(input), mName(std::move(name)) {}

  enum class Result { kStep, kError, kEnd };
  // Reads up to the next step. After an error, which names the line, reading may go on.
  Result Next(Step& step, std::string& error);

 private:
  std::istream& mInput;
  std::string mName;
  unsigned mLine = 0;
};

// Reads a whole file before any of it is played. False with one line in `error`.
bool ReadScriptFile(const std::string& file, std::vector<Step>& steps, std::string& error);

// Each word may hold several, as it does when it was quoted: "add-lapb-policy 5000 160 184 20".
bool ParseCommandLine(std::span<const std::string> words, std::vector<Step>& steps,
                      std::string& error);

}  // namespace host

#endif  // NUVREL_HOST_RUNNER_SCRIPT_H_
