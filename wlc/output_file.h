// The files that wlc writes lines to: standard output and traces.
//
// Every write is flushed, so that whatever ends the process leaves what was written before. A write
// that fails ends the session after the running command, and wlc with kExitCannotRun and one line:
//   wlc: cannot write standard output: No space left on device
// The failure is kept rather than thrown, since outputs are called from inside the service and the
// log library. Used on the thread that plays the session.
#pragma once

#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

class OutputFile {
 public:
  // `file` is owned; when it is null, throws a Refusal with the reason from errno. `name` is what
  // failures call it.
  OutputFile(std::FILE* file, std::string name);

  // Writes nothing more once a write has failed, to any file.
  void Write(std::string_view text);

 private:
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> mFile;
  const std::string mName;
};

// The message about the first write that failed; empty when none has.
const std::string& WriteFailure();

void PrintText(std::string_view text);

// Standard output; all of wlc prints with this.
template <typename... Args>
void Print(fmt::format_string<Args...> format, Args&&... args) {
  PrintText(fmt::format(format, std::forward<Args>(args)...));
}

// Standard error, for the thread that takes signals: never waits for a reader, nor for a thread
// that waits for one. What does not fit is lost.
void PrintErrorAtOnce(std::string_view text);

// Standard error; all of wlc prints with this. What cannot be written is lost.
template <typename... Args>
void PrintError(fmt::format_string<Args...> format, Args&&... args) {
  (void)std::fputs(fmt::format(format, std::forward<Args>(args)...).c_str(), stderr);
}
