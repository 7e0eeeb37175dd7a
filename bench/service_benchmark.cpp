// The service's own cost: everything on one thread, with a wrapper library that answers at once.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <limits>
#include <regex>
#include <string>

#include "bench/measured_service.h"
#include "bench/turns.h"

namespace bench {
namespace {

// One packet beside the same to a service that does nothing.
void Packet(benchmark::State& state, const char* command) {
  MeasuredService service;
  service.MakeReady();
  const NuvrelPkt_t request = PacketsOf(command).front();
  TakeTurns(state, 256,
            {{"service", [&] { service.Send(request); }},
             {"empty", [&] { TheEmptyService().Send(request); }}});
  const uint64_t before = Allocations();
  service.Send(request);
  state.counters["allocations"] = static_cast<double>(Allocations() - before);
}

// Range: policies in the table, beside a table of 100.
void Clear(benchmark::State& state) {
  const auto policies = static_cast<int>(state.range(0));
  MeasuredService service;
  service.MakeReady();
  const NuvrelPkt_t clear = PacketsOf("clear-lapb-policies").front();
  service.Send(clear);
  const auto send = [&] { service.Send(clear); };
  TakeTurns(state, 1,
            {{"service", send, [&] { service.AddPolicies(1, policies); }},
             {"standard", send, [&] { service.AddPolicies(1, 100); }}});
}

// Ranges: policies added to an empty table, bytes of a cookie at least. What each takes from the
// heap, and the longest of them, which is the one that made the table grow last: the least of
// several tries, in which nobody else had the processor.
void Grow(benchmark::State& state) {
  const auto policies = static_cast<int>(state.range(0));
  double least = std::numeric_limits<double>::max();
  for (auto _ : state) {
    MeasuredService service;
    service.MakeReady();
    const size_t before = mallinfo2().uordblks;
    double longest = 0;
    for (int port = 10000; port < 10000 + policies; ++port) {
      const auto cookieLength = static_cast<size_t>(state.range(1));
      longest =
          std::max(longest, SecondsOf([&] { service.AddPolicies(port, port, cookieLength); }));
    }
    state.counters["bytes"] = static_cast<double>(mallinfo2().uordblks - before) / policies;
    least = std::min(least, longest);
  }
  state.counters["longest"] = least * 1e9;
}

// "<3>SVC-EVENT: (heading) (0, 10, 46, 40) …", filled up to `length` bytes within the heading.
std::string ClassMessage(int classes, size_t length = 0) {
  std::string groups = ")";
  for (int id = 0; id < classes; ++id) {
    groups += " (" + std::to_string(id) + ", " + std::to_string(10 * (id + 1)) + ", 46, 40)";
  }
  const std::string begin = "<3>SVC-EVENT: (id, latency, default, special";
  return begin + std::string(length - std::min(length, begin.size() + groups.size()), '.') + groups;
}

// init-lapb-flow on a service that knows no class yet, beside the regular expression alone:
// compiled, and every match of it found.
void Discovery(benchmark::State& state, int classes, const std::string& message) {
  MeasuredService service;
  service.MakeReady();
  gWrapper.messages = {"<3>SVC-EVENT: svc_count:" + std::to_string(classes), message};
  const NuvrelPkt_t discover = PacketsOf("init-lapb-flow").front();
  const std::vector<NuvrelPkt_t> forget = PacketsOf("deinit init");
  const auto search = [&message] {
    const std::regex expression("\\((.*?)\\)");
    for (std::sregex_iterator match(message.begin(), message.end(), expression), end; match != end;
         ++match) {
      benchmark::DoNotOptimize((*match)[1].first);
    }
  };
  TakeTurns(state, 1,
            {{"service", [&] { service.Send(discover); }, [&] { service.Play(forget); }},
             {"expression", search}});
}

BENCHMARK_CAPTURE(Packet, unknown, "")->UseManualTime();
BENCHMARK_CAPTURE(Packet, init_again, "init")->UseManualTime();
BENCHMARK(Clear)->Arg(1)->Arg(100)->Arg(1000)->Arg(10000)->UseManualTime();
BENCHMARK(Grow)->Args({10000, 1})->Args({10000, 60})->Iterations(1);
BENCHMARK(Grow)->Args({11000, 1})->Args({50000, 1})->Iterations(10);
BENCHMARK_CAPTURE(Discovery, classes_1, 1, ClassMessage(1))->UseManualTime();
BENCHMARK_CAPTURE(Discovery, classes_8, 8, ClassMessage(8))->UseManualTime();
BENCHMARK_CAPTURE(Discovery, classes_32, 32, ClassMessage(32))->UseManualTime();
BENCHMARK_CAPTURE(Discovery, bytes_4096, 1, ClassMessage(1, 4096))->UseManualTime();
BENCHMARK_CAPTURE(Discovery, parentheses_4096, 1, std::string(4096, '('))
    ->UseManualTime()
    ->Iterations(2);

}  // namespace
}  // namespace bench
