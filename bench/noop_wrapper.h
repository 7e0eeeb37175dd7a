// A wrapper library without a driver: it answers at once, so that the service's own cost is left.
//
// A program that links it exports the wrapper library's two functions, and the service, when
// loaded, takes these. A command succeeds and its reply is left alone, or becomes
// "cookie=p<number>\n" while cookies are given; messages come in turn, from the first again after
// the last. Example, for two classes:
//   <3>SVC-EVENT: svc_count:2
//   <3>SVC-EVENT: (id, latency, default, special) (0, 10, 46, 40) (1, 20, 46, 40)
#ifndef NUVREL_BENCH_NOOP_WRAPPER_H_
#define NUVREL_BENCH_NOOP_WRAPPER_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "framework/wpa_cli_wrapper.h"

namespace bench {

// Latency tolerance of the class with this ID.
constexpr uint32_t LatencyOf(uint32_t id) { return 10 * (id + 1); }

// The message that lists `classes` classes; its heading is drawn out until the message has at least
// `length` bytes.
std::string ClassMessage(size_t classes, size_t length = 0);

class NoopWrapper : public WpaCliWrapper {
 public:
  int32_t OpenCtrlInterface(const std::string& path) override;
  int32_t CloseCtrlInterface() override;
  int32_t ExecuteCommand(const std::string& command, const std::string& extra, std::string& reply,
                         int32_t flag) override;
  int32_t GetResponse(std::string& message, const std::string& prefix, int32_t waitLimit) override;

  // What SERVICE_CLASS_SHOW is followed by: a count and `message`.
  void AnswerClasses(size_t classes, const std::string& message);

  bool mGivesCookies = false;
  size_t mCookieBytes = 0;  // of the cookies given so far

 private:
  std::vector<std::string> mMessages;
  size_t mNext = 0;
  uint32_t mLastCookie = 0;
};

// The one that GetWpacliWrapperHandle hands out.
NoopWrapper& TheNoopWrapper();

}  // namespace bench

#endif  // NUVREL_BENCH_NOOP_WRAPPER_H_
