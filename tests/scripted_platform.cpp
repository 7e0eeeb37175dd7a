#include "tests/scripted_platform.h"

#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <regex>

#include "platform/log_redirection.h"

ScriptedPlatform* gPlatform = nullptr;

namespace {

void Record(const std::string& call, const std::string& text = "") {
  gPlatform->Called(call + (text.empty() ? "" : " over " + text));
}

void RecordLog(int priority, const char* tag, const char* text) {
  static const std::regex kSourceLine(R"((\[\w+:)\d+\])");
  const std::string from = tag;
  gPlatform->Log("??VDIWEF"[priority] +
                 (from == "libnuvrelwirelesslinkconfigservice.so" ? "" : from) + " " +
                 std::regex_replace(text, kSourceLine, "$1#]"));
}

}  // namespace

ScriptedPlatform::ScriptedPlatform() : mOuter(gPlatform) {
  gPlatform = this;
  RedirectLog(&RecordLog);
  __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
  __android_log_set_default_tag("-");
}

ScriptedPlatform::~ScriptedPlatform() { gPlatform = mOuter; }

int32_t ScriptedPlatform::OpenCtrlInterface(const std::string& given) {
  Record("open " + given, &given == path ? "" : "a copy");
  return open;
}

int32_t ScriptedPlatform::CloseCtrlInterface() {
  Record("close");
  return -1;
}

int32_t ScriptedPlatform::ExecuteCommand(const std::string& command, const std::string& extra,
                                         std::string& text, int32_t flag) {
  Record(command + (extra.empty() && flag == 0 ? "" : " and more"), text);
  text = reply;
  return command.find(refuse) != std::string::npos ? -1 : mSuccesses++ % 2;
}

int32_t ScriptedPlatform::GetResponse(std::string& message, const std::string& prefix,
                                      int32_t waitLimit) {
  Record("wait " + std::to_string(waitLimit) + " for " + prefix, message);
  if (messages.empty()) {
    return -1;
  }
  message = messages.front();
  messages.pop_front();
  return mSuccesses++ % 2;
}

WpaCliWrapper* GetWpacliWrapperHandle() {
  Record("handle");
  return gPlatform->handle != 0 ? gPlatform : nullptr;
}

void ReleaseWpacliWrapperHandle() { Record("release handle"); }

// The linker sends the program's calls of write here (--wrap).
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" ssize_t __real_write(int fd, const void* data, size_t size);
extern "C" ssize_t __wrap_write(int fd, const void* data, size_t size) {
  if (gPlatform == nullptr) {
    return __real_write(fd, data, size);
  }
  Record("write " + std::string(static_cast<const char*>(data), size));
  if (--gPlatform->failingWrite == 0) {
    errno = gPlatform->writeError;
    return -1;
  }
  return __real_write(fd, data, std::min(size, static_cast<size_t>(gPlatform->writeLimit)));
}
// NOLINTEND(bugprone-reserved-identifier)
