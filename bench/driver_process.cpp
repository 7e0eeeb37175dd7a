#include "bench/driver_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <thread>

#include "bench/loaded_service.h"
#include "host/runner/driver_status.h"

namespace bench {
namespace {

constexpr auto kStartLimit = std::chrono::seconds(10);

// In the child: only calls that are safe after a fork.
[[noreturn]] void BecomeDriver(const char* directory) {
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  const int quiet = open("/dev/null", O_WRONLY | O_CLOEXEC);
  dup2(quiet, STDOUT_FILENO);
  execl(NUVREL_WLC, "wlc", "driver", "--ctrl-dir", directory, static_cast<char*>(nullptr));
  _exit(127);
}

}  // namespace

DriverProcess::DriverProcess() {
  if (Directory().empty()) {
    Fail("a directory for the driver's socket", "check TMPDIR");
  }
  mProcess = fork();
  if (mProcess == 0) {
    BecomeDriver(Directory().c_str());
  }
  if (mProcess < 0) {
    Fail("a process for the driver", std::strerror(errno));
  }
  const auto deadline = std::chrono::steady_clock::now() + kStartLimit;
  host::StatusLines lines;
  while (host::AskDriverStatus(SocketPath(), lines) != host::StatusAnswer::kTold) {
    if (std::chrono::steady_clock::now() > deadline) {
      Fail(NUVREL_WLC " driver", "does not answer: try it by hand");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

DriverProcess::~DriverProcess() {
  if (mProcess > 0) {
    kill(mProcess, SIGTERM);
    waitpid(mProcess, nullptr, 0);
  }
}

}  // namespace bench
