#include "host/runner/output_file.h"

#include <cerrno>
#include <cstring>

#include "host/refusal.h"

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

void PrintText(std::string_view text) {
  static OutputFile output(stdout, "standard output");
  output.Write(text);
}
