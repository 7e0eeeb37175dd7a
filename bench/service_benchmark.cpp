// What a packet costs, and what passes over a socket because of it. Each benchmark has its floor
// beside it: table.py names the pairs, and what their ratio may be.
//   Packet, Clear, Discovery   the service alone: a wrapper library that answers at once
//   Exchange, Session          with a driver, whose socket is in kDriverDirectory
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <memory>
#include <regex>

#include "bench/measured_service.h"
#include "emulated_driver/refusal.h"
#include "platform/control_client.h"
#include "platform/exchange_observer.h"
#include "wlc/steps.h"

namespace bench {
namespace {

using Lines = std::vector<std::string>;

// The driver commands that the service sends for these packets.
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

// Another client of the same driver.
std::unique_ptr<ControlClient> OpenPeer() {
  auto client = ControlClient::Open(std::string(kDriverDirectory) + "/wlan0");
  return client ? std::move(client) : throw Refusal("there is no driver: use bench/run.sh");
}

// As the wrapper library does it, or `bare`: by the system calls alone, on a socket that waits.
void Ask(ControlClient& client, const Lines& lines, bool bare) {
  std::string answer(4096, '\0');
  const int socket = client.Descriptor();
  for (const std::string& line : lines) {
    if (bare ? send(socket, line.data(), line.size(), 0) < 0 ||
                   recv(socket, answer.data(), answer.size(), 0) <= 0
             : client.Request(line, answer) != kDone) {
      throw Refusal("{} was not carried out", line);
    }
  }
}

// Times each `work` alone, without `prepare`.
template <typename Prepare, typename Work>
void TimeEach(benchmark::State& state, const Prepare& prepare, const Work& work) {
  for (auto _ : state) {
    prepare();
    const auto begin = std::chrono::steady_clock::now();
    work();
    const auto end = std::chrono::steady_clock::now();
    state.SetIterationTime(std::chrono::duration<double>(end - begin).count());
  }
}

// To a service that does nothing: see empty_service.cpp.
void Empty(benchmark::State& state) {
  nuvrel::ConfigParser noSettings;
  ServiceHost empty(NUVREL_EMPTY_SERVICE, noSettings);
  const NuvrelPkt_t request{};
  for (auto _ : state) {
    empty.Send(request);
  }
}

void Packet(benchmark::State& state, const char* command) {
  MeasuredService service;
  service.MakeReady();
  const NuvrelPkt_t request = PacketsOf(command).front();
  const uint64_t before = Allocations();
  for (auto _ : state) {
    service.Send(request);
  }
  state.counters["allocations"] = benchmark::Counter(static_cast<double>(Allocations() - before),
                                                     benchmark::Counter::kAvgIterations);
}

enum Way { kService, kRequest, kSendReceive };

void Exchange(benchmark::State& state, const char* command, Way way) {
  MeasuredService service(kDriverDirectory);
  service.MakeReady();
  const std::vector<NuvrelPkt_t> request = PacketsOf(command);
  const Lines lines = Recorded(service, request);
  const auto peer = OpenPeer();
  fcntl(peer->Descriptor(), F_SETFL, 0);  // recv waits
  for (auto _ : state) {
    way == kService ? service.Play(request) : Ask(*peer, lines, way == kSendReceive);
  }
}

// Makes a line of one session that of the next: the driver numbers the cookies of policies, and
// each session makes two.
void RaiseCookie(std::string& line) {
  constexpr std::string_view kCookie = "cookie p";
  if (const size_t found = line.find(kCookie); found != std::string::npos) {
    const size_t begin = found + kCookie.size();
    const int number = std::stoi(line.substr(begin));
    line.replace(begin, std::to_string(number).size(), std::to_string(number + 2));
  }
}

// From init to deinit, each right after a session of the service.
void Session(benchmark::State& state, Way way) {
  MeasuredService service(kDriverDirectory);
  const std::vector<NuvrelPkt_t> packets = PacketsOf(kBuiltInSession);
  service.Play(packets);  // the driver keeps the class that a first session adds
  Lines lines;
  const auto prepare = [&] {
    lines = Recorded(service, packets);
    std::for_each(lines.begin(), lines.end(), RaiseCookie);
  };
  TimeEach(state, prepare,
           [&] { way == kService ? service.Play(packets) : Ask(*OpenPeer(), lines, false); });
}

void Clear(benchmark::State& state) {
  MeasuredService service;
  service.Play(PacketsOf("init init-lapb-flow"));
  std::string commands;
  for (int64_t port = 1; port <= state.range(0); ++port) {
    commands += fmt::format("add-lapb-policy {} 160 184 20 ", port);
  }
  const std::vector<NuvrelPkt_t> add = PacketsOf(commands);
  const std::vector<NuvrelPkt_t> clear = PacketsOf("clear-lapb-policies");
  const auto fill = [&] { service.Play(add); };
  TimeEach(state, fill, [&] { service.Play(clear); });
}

std::string ClassMessage() {
  std::string message = "<3>SVC-EVENT: (id, latency, default, special)";
  for (int id = 0; id < 32; ++id) {
    message += fmt::format(" ({}, {}, 46, 40)", id, 10 * (id + 1));
  }
  return message;
}

// init-lapb-flow on a service that knows no class yet, with a driver that has 32.
void Discovery(benchmark::State& state) {
  MeasuredService service;
  gWrapper.messages = {"<3>SVC-EVENT: svc_count:32", ClassMessage()};
  const std::vector<NuvrelPkt_t> forget = PacketsOf("deinit init");
  const std::vector<NuvrelPkt_t> discover = PacketsOf("init-lapb-flow");
  const auto begin = [&] { service.Play(forget); };
  TimeEach(state, begin, [&] { service.Play(discover); });
}

// The regular expression alone: compiled, and every match of it found in the same message.
void Expression(benchmark::State& state) {
  const std::string message = ClassMessage();
  for (auto _ : state) {
    const std::regex expression("\\((.*?)\\)");
    std::sregex_iterator match(message.begin(), message.end(), expression);
    for (; match != std::sregex_iterator(); ++match) {
      benchmark::DoNotOptimize((*match)[1].first);
    }
  }
}

BENCHMARK(Empty);
BENCHMARK_CAPTURE(Packet, unknown, "");
BENCHMARK_CAPTURE(Packet, init_again, "init");
BENCHMARK_CAPTURE(Packet, re_bind, kRebind);
BENCHMARK_CAPTURE(Packet, apply, "apply-link-settings");
BENCHMARK_CAPTURE(Exchange, re_bind, kRebind, kService);
BENCHMARK_CAPTURE(Exchange, re_bind_request, kRebind, kRequest);
BENCHMARK_CAPTURE(Exchange, re_bind_send_recv, kRebind, kSendReceive);
BENCHMARK_CAPTURE(Exchange, apply, "apply-link-settings", kService);
BENCHMARK_CAPTURE(Exchange, apply_request, "apply-link-settings", kRequest);
BENCHMARK_CAPTURE(Exchange, apply_send_recv, "apply-link-settings", kSendReceive);
BENCHMARK_CAPTURE(Session, service, kService)->UseManualTime();
BENCHMARK_CAPTURE(Session, request, kRequest)->UseManualTime();
BENCHMARK(Clear)->Arg(1)->Arg(100)->Arg(1000)->Arg(10000)->UseManualTime();
BENCHMARK(Discovery)->UseManualTime();
BENCHMARK(Expression);

}  // namespace
}  // namespace bench
