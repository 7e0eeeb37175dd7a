// The service over a real control socket to the emulated driver in another process, beside the
// least that the same driver commands cost: a bare loop of wpa_ctrl_request, or a wpa_cli for each.
//
// Both sides of a figure are timed in turn.
#include <benchmark/benchmark.h>
#include <stddef.h>  // NOLINT(modernize-deprecated-headers): wpa_ctrl.h relies on it
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <wpa_ctrl.h>

#include "bench/driver_process.h"
#include "bench/loaded_service.h"
#include "bench/paired_timing.h"
#include "host/coreutils/settings.h"
#include "host/coreutils/toml_config.h"
#include "host/runner/driver_status.h"
#include "host/runner/script.h"
#include "host/runner/service_host.h"
#include "host/wpa_cli_wrapper/exchange_observer.h"

namespace bench {
namespace {

constexpr int kBlock = 16;  // packets in a row, before it is the other side's turn

// The texts of the driver commands that pass the wrapper library while it lives.
class CommandRecorder : private WpaExchangeObserver {
 public:
  CommandRecorder() { SetWpaExchangeObserver(this); }
  ~CommandRecorder() override { SetWpaExchangeObserver(nullptr); }
  CommandRecorder(const CommandRecorder&) = delete;
  CommandRecorder& operator=(const CommandRecorder&) = delete;
  const std::vector<std::string>& Commands() const { return mCommands; }

 private:
  void OnExchange(const WpaExchange& exchange) override {
    mCommands.emplace_back(exchange.command);
  }
  void OnWait(const WpaWait& /*wait*/) override {}

  std::vector<std::string> mCommands;
};

// The demo's settings and its session, as a framework process plays it: from loading the library to
// unloading it.
class DemoSession {
 public:
  explicit DemoSession(const DriverProcess& driver) {
    mConfig.SetText(host::SettingKey("wpaifPath"), driver.Directory(), "the benchmark");
    mConfig.SetInteger(host::SettingKey("wlanEnableTsf"), 1, "the benchmark");
    std::string error;
    mService = host::ServiceHost::Load(NUVREL_SERVICE_LIBRARY, mConfig, error);
    if (!mService) {
      Fail("the service", error.c_str());
    }
  }

  void Play(const host::Step& step) {
    if (mService->Send(*step.command).value_or(-1) < 0) {
      Fail("the service", (step.command->Text() + " failed").c_str());
    }
  }
  void Play(const std::string& words) {
    std::vector<host::Step> steps;
    std::string error;
    if (!host::ParseCommandLine(std::array{words}, steps, error)) {
      Fail("the benchmark", error.c_str());
    }
    for (const host::Step& step : steps) {
      Play(step);
    }
  }

 private:
  host::TomlConfig mConfig;
  std::unique_ptr<host::ServiceHost> mService;
};

std::vector<std::string> CommandsOf(DemoSession& session, const std::string& words) {
  const CommandRecorder recorder;
  session.Play(words);
  return recorder.Commands();
}

// Sends the same texts to the same process, and nothing more. Its socket file is put beside the
// driver's: in the usual place, its client library would take the name of the wrapper library's.
class BareClient {
 public:
  explicit BareClient(const DriverProcess& driver)
      : mSocket(wpa_ctrl_open2(driver.SocketPath().c_str(), driver.Directory().c_str())) {
    if (mSocket == nullptr) {
      Fail(driver.SocketPath().c_str(), "cannot be opened");
    }
  }
  ~BareClient() { wpa_ctrl_close(mSocket); }
  BareClient(const BareClient&) = delete;
  BareClient& operator=(const BareClient&) = delete;

  void Send(const std::vector<std::string>& commands) {
    for (const std::string& command : commands) {
      size_t length = mReply.size();
      if (wpa_ctrl_request(mSocket, command.data(), command.size(), mReply.data(), &length,
                           nullptr) != 0) {
        Fail(command.c_str(), "was not answered");
      }
    }
  }

 private:
  wpa_ctrl* mSocket;
  std::array<char, 4096> mReply{};
};

void Exchange(benchmark::State& state, const std::string& words) {
  const DriverProcess driver;
  DemoSession session(driver);
  session.Play("init init-lapb-flow add-lapb-policy 5000 160 184 20");
  const std::vector<std::string> commands = CommandsOf(session, words);
  std::vector<host::Step> steps;
  std::string error;
  host::ParseCommandLine(std::array{words}, steps, error);
  BareClient bare(driver);
  TimeInTurn(
      state, kBlock, [&] { session.Play(steps[0]); }, [&] { bare.Send(commands); });
}

host::StatusLines StatusOf(const DriverProcess& driver) {
  host::StatusLines lines;
  if (host::AskDriverStatus(driver.SocketPath(), lines) != host::StatusAnswer::kTold) {
    Fail("the driver", "does not tell its state");
  }
  return lines;
}

void PlayDemo(DemoSession& session) {
  for (const host::Step& step : host::BuiltInSession()) {
    session.Play(step);
  }
}

// A shell script that sends the commands of a demo session with one wpa_cli each. A fresh driver
// gives out the same cookies every time, so the texts hold for any.
void WriteScript(const std::string& file, const std::string& controlDirectory) {
  const DriverProcess driver;
  DemoSession session(driver);
  const CommandRecorder recorder;
  PlayDemo(session);
  std::ofstream script(file);
  script << "#!/bin/sh\nset -e\n";
  for (const std::string& command : recorder.Commands()) {
    script << NUVREL_WPA_CLI " -p " << controlDirectory << " -i wlan0 raw " << command
           << " >/dev/null\n";
  }
}

// From init to deinit. Each side has a fresh driver, and has to leave it in the same state.
void Session(benchmark::State& state) {
  const DriverProcess forService;
  const DriverProcess forScript;
  const std::string command = "sh " + forScript.Directory() + "/session.sh";
  WriteScript(forScript.Directory() + "/session.sh", forScript.Directory());
  DemoSession session(forService);
  TimeInTurn(
      state, 1, [&] { PlayDemo(session); },
      [&] {
        if (std::system(command.c_str()) != 0) {  // NOLINT(cert-env33-c)
          Fail("the script of wpa_cli commands", "failed");
        }
      });
  if (StatusOf(forScript) != StatusOf(forService)) {
    Fail("the script of wpa_cli commands", "left the driver in another state than the service");
  }
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  setenv("NUVREL_HOST_INTERFACE", "wlan0", 1);
  setenv("NUVREL_HOST_SELF_IP", "192.168.49.1", 1);
  setenv("NUVREL_HOST_PEER_IP", "192.168.49.2", 1);
  benchmark::RegisterBenchmark("socket-re-bind", bench::Exchange,
                               std::string("add-lapb-policy 5000 160 184 20"))
      ->UseManualTime();
  benchmark::RegisterBenchmark("socket-apply", bench::Exchange, std::string("apply-link-settings"))
      ->UseManualTime();
  benchmark::RegisterBenchmark("session", bench::Session)->UseManualTime()->Iterations(1);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
