#include "wlc/interruption.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <thread>

#include "platform/control_client.h"
#include "wlc/output_file.h"
#include "wlc/private_directory.h"

namespace {

constexpr std::chrono::seconds kTimeToEnd{3};

std::atomic<int> gSignal = 0;
std::atomic<bool> gCommandsEnd = false;
int gInterrupted = -1;  // an eventfd, readable from the first signal on

void Watch(const sigset_t& signals) {
  for (int signal = 0; sigwait(&signals, &signal) == 0;) {
    const bool first = gSignal == 0;
    const bool waits = first && signal == SIGINT && gCommandsEnd;
    if (waits) {  // told before the session can see the signal and end the process
      PrintErrorAtOnce(
          "wlc: interrupted: ends after the running command; ^C again ends it at once\n");
    }
    gSignal = signal;
    (void)eventfd_write(gInterrupted, 1);
    if (waits) {
      continue;
    }
    if (first || signal != SIGINT) {
      std::this_thread::sleep_for(kTimeToEnd);
    }
    EndAtOnce(fmt::format("wlc: interrupted: ended by SIG{} without waiting any longer\n",
                          sigabbrev_np(signal)),
              128 + signal);
  }
}

}  // namespace

void EndAtOnce(std::string_view message, int status) {
  try {
    PrivateDirectory::Remove();
    ControlClient::RemoveFiles();
  } catch (const std::exception&) {  // it ends all the same
  }
  PrintErrorAtOnce(message);
  _exit(status);
}

void WatchSignals() {
  gInterrupted = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action = {};
    if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
      sigaddset(&signals, signal);
    }
  }
  (void)pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::thread(Watch, signals).detach();
}

void LetCommandsEnd() { gCommandsEnd = true; }

int InterruptedBy() { return gSignal; }

void PauseUntilInterrupted(std::chrono::milliseconds pause) {
  pollfd interrupted{gInterrupted, POLLIN, 0};
  (void)poll(&interrupted, 1, static_cast<int>(pause.count()));
}

InterruptibleInput::int_type InterruptibleInput::underflow() {
  pollfd either[] = {{STDIN_FILENO, POLLIN, 0}, {gInterrupted, POLLIN, 0}};
  (void)poll(either, 2, -1);
  const ssize_t length =
      InterruptedBy() != 0 ? 0 : read(STDIN_FILENO, mBuffer.data(), mBuffer.size());
  setg(mBuffer.data(), mBuffer.data(), mBuffer.data() + std::max<ssize_t>(length, 0));
  return length > 0 ? traits_type::to_int_type(mBuffer.front()) : traits_type::eof();
}
