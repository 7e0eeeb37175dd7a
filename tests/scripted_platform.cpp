#include "tests/scripted_platform.h"

#include <sys/types.h>

#include <algorithm>
#include <cerrno>

ScriptedPlatform* gPlatform = nullptr;

ScriptedPlatform::ScriptedPlatform() : mOuter(gPlatform) { gPlatform = this; }

ScriptedPlatform::~ScriptedPlatform() { gPlatform = mOuter; }

int32_t ScriptedPlatform::OpenCtrlInterface(const std::string& path) {
  calls.push_back("open " + path);
  return openResult;
}

int32_t ScriptedPlatform::CloseCtrlInterface() {
  calls.emplace_back("close");
  return -1;
}

int32_t ScriptedPlatform::ExecuteCommand(const std::string& command, const std::string& extra,
                                         std::string& text, int32_t flag) {
  calls.push_back(command + (extra.empty() && flag == 0 ? "" : " with more than the command"));
  earlierTexts.push_back(text);
  text = reply;
  return !refuse.empty() && command.find(refuse) != std::string::npos ? -1 : 1;
}

int32_t ScriptedPlatform::GetResponse(std::string& message, const std::string& prefix,
                                      int32_t waitLimit) {
  calls.push_back("event " + prefix + " " + std::to_string(waitLimit));
  earlierTexts.push_back(message);
  if (events.empty()) {
    return -1;
  }
  message = events.front();
  events.pop_front();
  return 1;
}

WpaCliWrapper* GetWpacliWrapperHandle() {
  gPlatform->calls.emplace_back("handle");
  return gPlatform->hasHandle ? gPlatform : nullptr;
}

void ReleaseWpacliWrapperHandle() { gPlatform->calls.emplace_back("release handle"); }

// The linker sends the program's calls of write here (--wrap).
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" ssize_t __real_write(int fd, const void* data, size_t size);
extern "C" ssize_t __wrap_write(int fd, const void* data, size_t size) {
  if (gPlatform == nullptr) {
    return __real_write(fd, data, size);
  }
  gPlatform->writes.emplace_back(static_cast<const char*>(data), size);
  if (gPlatform->writes.size() == gPlatform->failingWrite) {
    errno = gPlatform->writeError;
    return -1;
  }
  return __real_write(fd, data, std::min(size, gPlatform->writeLimit));
}
// NOLINTEND(bugprone-reserved-identifier)
