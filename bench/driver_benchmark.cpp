// What passes over a socket: one packet's driver commands, and a whole session, from init to
// deinit, beside other clients that send the same lines. The driver is a `wlc driver` in the
// directory that the environment variable DRIVER_DIRECTORY names: see run.sh.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/socket.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <regex>
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

std::unique_ptr<host::ControlClient> OpenClient() {
  auto client = host::ControlClient::Open(DriverDirectory() + "/wlan0");
  if (client == nullptr) {
    throw host::Refusal("there is no driver in {}: use bench/run.sh", DriverDirectory());
  }
  return client;
}

std::string Ask(host::ControlClient& client, const std::string& line) {
  std::string answer;
  if (client.Request(line, answer) != host::kDone) {
    throw host::Refusal("{} was not carried out", line);
  }
  return answer;
}

// Nothing but the system calls: the least that an exchange can cost.
void AskBare(int socket, const std::string& line) {
  std::array<char, 4096> answer;
  if (send(socket, line.data(), line.size(), 0) < 0 ||
      recv(socket, &answer, answer.size(), 0) <= 0) {
    throw host::Refusal("{} was not answered", line);
  }
}

// The driver commands that the service sends for these.
Lines Recorded(MeasuredService& service, const std::vector<NuvrelPkt_t>& requests) {
  Lines lines;
  SetExchangeObserver([&lines](const host::Exchange& exchange) {
    if (exchange.kind == host::Exchange::Kind::kCommand) {
      lines.push_back(exchange.asked);
    }
  });
  service.Play(requests);
  SetExchangeObserver(nullptr);
  return lines;
}

// One packet with the driver; the same lines by the client library, and by the system calls alone;
// the same packet without a driver.
void Exchange(benchmark::State& state, const char* command) {
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
      state, 16,
      {{"service", play, [] { gWrapper.connected = true; }},
       {"wpa_ctrl_request", each([&](const std::string& line) { Ask(*client, line); })},
       {"send_recv", each([&](const std::string& line) { AskBare(bare->Descriptor(), line); })},
       {"no_driver", play, [] { gWrapper.connected = false; }}});
  gWrapper.connected = true;
}

// How many policies the driver has made so far: it numbers their cookies. This adds one more.
int PoliciesMade(host::ControlClient& client) {
  const std::string answer = Ask(
      client,
      "DRIVER POLICY_ADD policy_type ipv4 src_ip 10.0.0.1 dst_ip 10.0.0.2 src_port 1 dst_port 1 "
      "proto udp service_class_id 1");
  const int made = std::stoi(answer.substr(std::string_view("cookie=p").size()));
  Ask(client, fmt::format("DRIVER POLICY_DELETE cookie p{}", made));
  return made;
}

// The lines with the numbers of their two cookies, from `first` on, raised.
Lines Raised(Lines lines, int first, int by) {
  for (std::string& line : lines) {
    for (const int number : {first, first + 1}) {
      line = std::regex_replace(line, std::regex("cookie p" + std::to_string(number) + "\\b"),
                                "cookie p" + std::to_string(number + by));
    }
  }
  return lines;
}

void Run(const std::string& command) {
  if (std::system(command.c_str()) != 0) {
    throw host::Refusal("{} failed", command);
  }
}

void Session(benchmark::State& state) {
  MeasuredService service(DriverDirectory());
  const std::vector<NuvrelPkt_t> packets = PacketsOf(host::kBuiltInSession);
  state.counters["first"] = SecondsOf([&] { service.Play(packets); }) * 1e9;
  const auto client = OpenClient();
  const std::string status = Ask(*client, "STATUS");
  const int before = PoliciesMade(*client);
  const Lines recorded = Recorded(service, packets);
  int sessions = 1;
  Lines lines;
  const std::string file = DriverDirectory() + "/lines";
  const auto next = [&] {  // each session makes two policies
    lines = Raised(recorded, before + 1, 2 * sessions++);
    std::ofstream output(file);
    for (const std::string& line : lines) {
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
  TakeTurns(
      state, 1,
      {{"service", [&] { service.Play(packets); }, next},
       {"wpa_ctrl_request", loop, next},
       {"wpa_cli_pipe", [&] { Run(wpaCli + " <" + file + " >/dev/null"); }, next},
       {"wpa_cli_script",
        [&] { Run("while read l; do " + wpaCli + " $l; done <" + file + " >/dev/null"); }, next}});
  state.counters["commands"] = static_cast<double>(recorded.size());
  if (Ask(*client, "STATUS") != status || PoliciesMade(*client) != before + 2 * sessions + 1) {
    throw host::Refusal("the sessions of the clients are not those of the service");
  }
}

BENCHMARK_CAPTURE(Exchange, re_bind, kRebind)->UseManualTime();
BENCHMARK_CAPTURE(Exchange, apply, "apply-link-settings")->UseManualTime();
BENCHMARK(Session)->UseManualTime();

}  // namespace
}  // namespace bench
