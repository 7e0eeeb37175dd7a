#include "bench/noop_wrapper.h"

namespace bench {

std::string ClassMessage(size_t classes, size_t length) {
  std::string heading = "id, latency, default, special";
  std::string groups;
  for (uint32_t id = 0; id < classes; ++id) {
    groups += " (" + std::to_string(id) + ", " + std::to_string(LatencyOf(id)) + ", 46, 40)";
  }
  const std::string prefix = "<3>SVC-EVENT: (";
  const size_t shortest = prefix.size() + heading.size() + 1 + groups.size();
  if (length > shortest) {
    heading.append(length - shortest, '.');
  }
  return prefix + heading + ")" + groups;
}

int32_t NoopWrapper::OpenCtrlInterface(const std::string& /*path*/) { return 0; }

int32_t NoopWrapper::CloseCtrlInterface() { return 0; }

int32_t NoopWrapper::ExecuteCommand(const std::string& /*command*/, const std::string& /*extra*/,
                                    std::string& reply, int32_t /*flag*/) {
  if (!mGivesCookies) {
    return 0;
  }
  const std::string cookie = "p" + std::to_string(++mLastCookie);
  mCookieBytes += cookie.size();
  reply = "cookie=" + cookie + "\n";
  return 0;
}

int32_t NoopWrapper::GetResponse(std::string& message, const std::string& /*prefix*/,
                                 int32_t /*waitLimit*/) {
  if (mMessages.empty()) {
    return -1;
  }
  message = mMessages[mNext];
  mNext = (mNext + 1) % mMessages.size();
  return 0;
}

void NoopWrapper::AnswerClasses(size_t classes, const std::string& message) {
  mMessages = {"<3>SVC-EVENT: svc_count:" + std::to_string(classes), message};
  mNext = 0;
}

NoopWrapper& TheNoopWrapper() {
  static NoopWrapper wrapper;
  return wrapper;
}

}  // namespace bench

WpaCliWrapper* GetWpacliWrapperHandle() { return &bench::TheNoopWrapper(); }
void ReleaseWpacliWrapperHandle() {}
