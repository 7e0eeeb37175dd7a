// What passes over a socket: one packet's driver commands, and a whole session, from init to
// deinit, beside other clients that send the same lines. The driver is a `wlc driver` in the
// directory that the environment variable DRIVER_DIRECTORY names: see run.sh.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bench/measured_service.h"
#include "bench/turns.h"
#include "host/refusal.h"
#include "host/runner/steps.h"
#include "host/wpa_cli_wrapper/control_client.h"
#include "host/wpa_cli_wrapper/exchange_observer.h"

namespace bench {
namespace {

using Lines = std::vector<std::string>;

std::string DriverDirectory() {
  const char* directory = std::getenv("DRIVER_DIRECTORY");
  return directory != nullptr ? directory : "/tmp";
}

std::unique_ptr<ControlClient> OpenClient() {
  auto client = ControlClient::Open(DriverDirectory() + "/wlan0");
  if (client == nullptr) {
    throw Refusal("there is no driver in {}: use bench/run.sh", DriverDirectory());
  }
  return client;
}

std::string Ask(ControlClient& client, const std::string& line) {
  std::string answer;
  if (client.Request(line, answer) != kDone) {
    throw Refusal("{} was not carried out", line);
  }
  return answer;
}

// Nothing but the system calls: the least that an exchange can cost.
void AskBare(int socket, const std::string& line) {
  std::array<char, 4096> answer;
  if (send(socket, line.data(), line.size(), 0) < 0 ||
      recv(socket, &answer, answer.size(), 0) <= 0) {
    throw Refusal("{} was not answered", line);
  }
}

// The driver commands that the service sends for these.
Lines Recorded(MeasuredService& service, const std::vector<NuvrelPkt_t>& requests) {
  Lines lines;
  SetExchangeObserver([&lines](const Exchange& exchange) {
    if (exchange.kind == Exchange::Kind::kCommand) {
      lines.push_back(exchange.asked);
    }
  });
  service.Play(requests);
  SetExchangeObserver(nullptr);
  return lines;
}

// One packet with the driver; the same lines by the client library, and by the system calls alone;
// the same packet without a driver, and to a service that does nothing.
void OnePacket(benchmark::State& state, const char* command) {
  MeasuredService service(DriverDirectory());
  service.Play(PacketsOf("init init-lapb-flow add-lapb-policy 5000 160 184 20"));
  const std::vector<NuvrelPkt_t> request = PacketsOf(command);
  const Lines lines = Recorded(service, request);
  const auto client = OpenClient();
  const auto bare = OpenClient();
  fcntl(bare->Descriptor(), F_SETFL, 0);  // its recv waits
  const auto play = [&] { service.Play(request); };
  const auto each = [&](const auto& ask) {
    return [&, ask] { std::for_each(lines.begin(), lines.end(), ask); };
  };
  TakeTurns(
      state, 64,
      {{"service", play, [] { gWrapper.connected = true; }},
       {"wpa_ctrl_request", each([&](const std::string& line) { Ask(*client, line); })},
       {"send_recv", each([&](const std::string& line) { AskBare(bare->Descriptor(), line); })},
       {"no_driver", play, [] { gWrapper.connected = false; }},
       {"empty", [&] { TheEmptyService().Send(request.front()); }}});
  gWrapper.connected = true;
}

// Makes a line of one session that of the next: the driver numbers the cookies of policies, and
// each session makes two.
void RaiseCookie(std::string& line) {
  constexpr std::string_view kCookie = "cookie p";
  if (const size_t found = line.find(kCookie); found != std::string::npos) {
    const size_t begin = found + kCookie.size();
    size_t digits = 0;
    const int number = std::stoi(line.substr(begin), &digits);
    line.replace(begin, digits, std::to_string(number + 2));
  }
}

void Run(const std::string& command) {
  if (std::system(command.c_str()) != 0) {
    throw Refusal("{} failed", command);
  }
}

void Session(benchmark::State& state) {
  MeasuredService service(DriverDirectory());
  const std::vector<NuvrelPkt_t> packets = PacketsOf(kBuiltInSession);
  state.counters["first"] = SecondsOf([&] { service.Play(packets); }) * 1e9;
  Lines lines = Recorded(service, packets);
  state.counters["commands"] = static_cast<double>(lines.size());
  const std::string file = DriverDirectory() + "/lines";
  const auto next = [&] {
    std::ofstream output(file);
    for (std::string& line : lines) {
      RaiseCookie(line);
      output << "raw " << line << '\n';
    }
  };
  const auto loop = [&] {
    const auto own = OpenClient();
    for (const std::string& line : lines) {
      Ask(*own, line);
    }
  };
  const std::string wpaCli = NUVREL_WPA_CLI " -s /dev/shm -i wlan0 -p " + DriverDirectory();
  // Warm: right after another one of its kind.
  const auto side = [&](const char* name, const std::function<void()>& session) {
    return Side{name, session, [=] {
                  next();
                  session();
                  next();
                }};
  };
  TakeTurns(state, 1,
            {side("service", [&] { service.Play(packets); }), side("wpa_ctrl_request", loop),
             side("wpa_cli_pipe", [&] { Run(wpaCli + " <" + file + " >/dev/null"); }),
             side("wpa_cli_script", [&] {
               Run("while read l; do " + wpaCli + " $l; done <" + file + " >/dev/null");
             })});
  next();
  loop();  // is refused unless each of them has made its two policies and removed them
}

BENCHMARK_CAPTURE(OnePacket, re_bind, kRebind)->UseManualTime();
BENCHMARK_CAPTURE(OnePacket, apply, "apply-link-settings")->UseManualTime();
BENCHMARK(Session)->UseManualTime()->Iterations(20);

}  // namespace
}  // namespace bench
