// The service over a real control socket to the emulated driver in another process, beside the
// least that the same driver commands cost: a bare loop of wpa_ctrl_request, or a wpa_cli for each.
//
// Both sides of a figure are timed in turn. run.sh keeps all processes on one processor and the
// socket files of both sides in memory.
#include <benchmark/benchmark.h>
#include <stddef.h>  // NOLINT(modernize-deprecated-headers): wpa_ctrl.h relies on it
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <wpa_ctrl.h>

#include "bench/driver_process.h"
#include "bench/loaded_service.h"
#include "bench/paired_timing.h"
#include "bench/workload.h"
#include "host/runner/driver_status.h"
#include "host/runner/script.h"
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

// The packet of one command of a session.
NuvrelPkt_t PacketOf(const host::Command& command) {
  NuvrelPkt_t request = Request(command.form->value);
  size_t offset = 1;
  for (size_t i = 0; i < command.form->parameters.size(); ++i) {
    const auto value = static_cast<uint32_t>(command.values[i]);
    std::memcpy(request.payload + offset, &value, sizeof(value));
    offset += sizeof(value);
  }
  return request;
}

// The packets of the demo's session.
std::vector<NuvrelPkt_t> DemoPackets() {
  std::vector<NuvrelPkt_t> packets;
  for (const host::Step& step : host::BuiltInSession()) {
    packets.push_back(PacketOf(*step.command));
  }
  return packets;
}

void Play(LoadedService& service, std::vector<NuvrelPkt_t>& packets) {
  for (NuvrelPkt_t& packet : packets) {
    service.MustSend(packet);
  }
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

void Exchange(benchmark::State& state, NuvrelPkt_t packet) {
  const DriverProcess driver;
  LoadedService service(driver.Directory());
  service.MustSend(Request(NUVREL_WLC_CMD_INIT));
  service.MustSend(Request(NUVREL_WLC_CMD_INIT_LAPB_FLOW));
  service.MustSend(AddPolicyRequest(kPort, kLatency));
  std::vector<std::string> commands;
  {
    const CommandRecorder recorder;
    service.MustSend(packet);
    commands = recorder.Commands();
  }
  BareClient bare(driver);
  TimeInTurn(
      state, kBlock, [&] { service.MustSend(packet); }, [&] { bare.Send(commands); });
}

host::StatusLines StatusOf(const DriverProcess& driver) {
  host::StatusLines lines;
  if (host::AskDriverStatus(driver.SocketPath(), lines) != host::StatusAnswer::kTold) {
    Fail("the driver", "does not tell its state");
  }
  return lines;
}

// Plays a session of a fresh service.
void PlaySession(const DriverProcess& driver) {
  LoadedService service(driver.Directory());
  std::vector<NuvrelPkt_t> packets = DemoPackets();
  Play(service, packets);
}

// A shell script that sends the commands of a demo session with one wpa_cli each. A driver gives
// out the same cookies every time, so the texts hold for any that has one session behind it.
void WriteScript(const std::string& file, const std::string& controlDirectory) {
  const DriverProcess driver;
  PlaySession(driver);
  const CommandRecorder recorder;
  PlaySession(driver);
  std::ofstream script(file);
  script << "#!/bin/sh\nset -e\n";
  for (const std::string& command : recorder.Commands()) {
    script << NUVREL_WPA_CLI " -s " << std::filesystem::temp_directory_path().string() << " -p "
           << controlDirectory << " -i wlan0 raw " << command << " >/dev/null\n";
  }
}

// From init to deinit, the second time: like every other figure, that of a service which has done
// the same before. Each side has a driver of its own, and has to leave it in the same state.
void Session(benchmark::State& state) {
  const DriverProcess forService;
  const DriverProcess forScript;
  const std::string command = "sh " + forScript.Directory() + "/session.sh";
  WriteScript(forScript.Directory() + "/session.sh", forScript.Directory());
  PlaySession(forScript);
  LoadedService service(forService.Directory());
  std::vector<NuvrelPkt_t> packets = DemoPackets();
  const auto play = [&] { Play(service, packets); };
  state.counters["first"] = SecondsOf(1, play) * 1e9;
  TimeInTurn(state, 1, play, [&] {
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
  benchmark::RegisterBenchmark("socket-re-bind", bench::Exchange,
                               bench::AddPolicyRequest(bench::kPort, bench::kLatency))
      ->UseManualTime();
  benchmark::RegisterBenchmark("socket-apply", bench::Exchange,
                               bench::Request(NUVREL_WLC_CMD_APPLY_LINK_SETTINGS))
      ->UseManualTime();
  benchmark::RegisterBenchmark("session", bench::Session)->UseManualTime()->Iterations(1);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
