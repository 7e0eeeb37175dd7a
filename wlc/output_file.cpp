#include "wlc/output_file.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "emulated_driver/refusal.h"

namespace {

std::string gFailure;

std::string CannotWrite(const std::string& name) {
  return fmt::format("cannot write {}: {}", name, std::strerror(errno));
}

}  // namespace

OutputFile::OutputFile(std::FILE* file, std::string name)
    : mFile(file, &std::fclose), mName(std::move(name)) {
  if (!mFile) {
    throw Refusal("{}", CannotWrite(mName));
  }
}

void OutputFile::Write(std::string_view text) {
  if (gFailure.empty() && (std::fwrite(text.data(), 1, text.size(), mFile.get()) != text.size() ||
                           std::fflush(mFile.get()) != 0)) {
    gFailure = CannotWrite(mName);
  }
}

const std::string& WriteFailure() { return gFailure; }

void PrintErrorAtOnce(std::string_view text) {
  pollfd error{STDERR_FILENO, POLLOUT, 0};
  if (poll(&error, 1, 0) == 1) {
    (void)!write(STDERR_FILENO, text.data(), text.size());
  }
}

void PrintText(std::string_view text) {
  static OutputFile output(stdout, "standard output");
  output.Write(text);
}
