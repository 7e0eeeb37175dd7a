// The service's own cost: everything on one thread of one process, with a wrapper library that
// answers at once. Each figure is timed in turn with its floor.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <regex>
#include <string>

#include "bench/allocation_count.h"
#include "bench/noop_wrapper.h"
#include "bench/paired_timing.h"
#include "bench/workload.h"
#include "link/driver_commands.h"

namespace bench {
namespace {

constexpr int kBlock = 256;  // packets in a row, before it is the floor's turn
constexpr int64_t kPoliciesPerRun = 100000;

// --- one packet, again and again

using Floor = void (*)();

// An empty virtual call and the copy of one record.
void EmptyCall() {
  static SilentConnection connection;
  static NuvrelPkt_t record = Request(0);
  INuvrelConnection* called = &connection;
  benchmark::DoNotOptimize(record);
  NuvrelPkt_t copy = record;
  benchmark::DoNotOptimize(copy);
  benchmark::DoNotOptimize(called);
  benchmark::DoNotOptimize(called->SendPacket(&copy, nullptr));
}

// One driver command as text, from values that the compiler does not know.
template <typename... Values>
void Format(const char* format, Values... values) {
  (benchmark::DoNotOptimize(values), ...);
  char buffer[512];
  std::snprintf(buffer, sizeof(buffer), format, values...);
  std::string text(buffer);
  benchmark::DoNotOptimize(text);
}

void FormatRebind() { Format(driver_commands::kPolicyUpdate, "p1", 1U); }

void FormatApply() {
  Format(driver_commands::kSetLatencyMode, 2U);
  Format(driver_commands::kTsfSyncStart, 3000U);
  Format(driver_commands::kSetTxRatemask, "0x003FC0FF");
}

void Packet(benchmark::State& state, Workload workload, Floor floor) {
  LoadedService service;
  MakeReady(service);
  TimeInTurn(
      state, kBlock, [&] { service.Send(workload.request); }, floor);
  const uint64_t before = AllocationsSoFar().calls;
  service.Send(workload.request);
  state.counters["allocations"] = static_cast<double>(AllocationsSoFar().calls - before);
}

// --- how cost grows

void AddPolicies(LoadedService& service, int64_t count) {
  TheNoopWrapper().mGivesCookies = true;
  for (int32_t port = 1; port <= count; ++port) {
    service.MustSend(AddPolicyRequest(port, kLatency));
  }
  TheNoopWrapper().mGivesCookies = false;
}

// Range: policies in the table. Beside it a table of 100, so that the time of a policy in the one
// compares with that in the other.
void Clear(benchmark::State& state) {
  constexpr int64_t kStandard = 100;
  LoadedService service;
  MakeReady(service);
  NuvrelPkt_t clear = Request(NUVREL_WLC_CMD_CLEAR_LAPB_POLICIES);
  service.Send(clear);
  const auto sendClear = [&] { service.Send(clear); };
  TimeInTurn(
      state, 1,
      [&](bool serviceTurn) { AddPolicies(service, serviceTurn ? state.range(0) : kStandard); },
      sendClear, sendClear);
  state.counters["per_policy"] = state.counters["service"] / static_cast<double>(state.range(0));
  state.counters["ratio"] =
      state.counters["per_policy"] / (state.counters["floor"] / static_cast<double>(kStandard));
}

// Ranges: classes in the message, its length at least. Each time on a service that knows none yet.
void Discovery(benchmark::State& state) {
  LoadedService service;
  const auto classes = static_cast<size_t>(state.range(0));
  const std::string message = ClassMessage(classes, static_cast<size_t>(state.range(1)));
  TheNoopWrapper().AnswerClasses(classes, message);
  NuvrelPkt_t discover = Request(NUVREL_WLC_CMD_INIT_LAPB_FLOW);
  TimeInTurn(
      state, 1,
      [&](bool) {
        service.MustSend(Request(NUVREL_WLC_CMD_DEINIT));
        service.MustSend(Request(NUVREL_WLC_CMD_INIT));
      },
      [&] { service.Send(discover); },
      // The regular expression alone: compiled, and every match of it found.
      [&] {
        const std::regex expression("\\((.*?)\\)");
        for (std::sregex_iterator match(message.begin(), message.end(), expression), end;
             match != end; ++match) {
          benchmark::DoNotOptimize((*match)[1].first);
        }
      });
}

// --- once in a process's life

void Load(benchmark::State& state) {
  TimeInTurn(
      state, 1, [] { const LoadedService service; },
      [] {
        void* library = dlopen(NUVREL_EMPTY_LIBRARY, RTLD_NOW);
        if (library == nullptr) {
          Fail("the empty library", dlerror());
        }
        dlclose(library);
      });
}

// What the heap holds more after 10,000 policies, beside the bytes of their cookies and ports.
void PolicyMemory(benchmark::State& state) {
  constexpr int32_t kPolicies = 10000;
  LoadedService service;
  MakeReady(service);
  service.MustSend(Request(NUVREL_WLC_CMD_CLEAR_LAPB_POLICIES));
  while (state.KeepRunning()) {
    const size_t cookiesBefore = TheNoopWrapper().mCookieBytes;
    const size_t heapBefore = mallinfo2().uordblks;
    AddPolicies(service, kPolicies);
    const size_t heap = mallinfo2().uordblks - heapBefore;
    const size_t cookies = TheNoopWrapper().mCookieBytes - cookiesBefore;
    state.counters["heap_bytes"] = static_cast<double>(heap);
    state.counters["floor_bytes"] = static_cast<double>(cookies + kPolicies * sizeof(int32_t));
    state.SetIterationTime(1);  // not a time
  }
}

void RegisterAll() {
  using benchmark::RegisterBenchmark;
  const Floor floors[] = {EmptyCall, EmptyCall, FormatRebind, FormatApply};
  size_t next = 0;
  for (const Workload& workload : Workloads()) {
    RegisterBenchmark(workload.name, Packet, workload, floors[next++])->UseManualTime();
  }
  for (const int64_t policies : {1, 10, 100, 1000, 10000}) {
    RegisterBenchmark("clear", Clear)
        ->Arg(policies)
        ->UseManualTime()
        ->Iterations(std::clamp<int64_t>(kPoliciesPerRun / policies, 10, 1000));
  }
  auto* discovery = RegisterBenchmark("discovery", Discovery)->UseManualTime()->Iterations(500);
  for (const int64_t classes : {1, 2, 4, 8, 16, 32}) {
    discovery->Args({classes, 0});
  }
  for (const int64_t length : {128, 256, 512, 1024, 2048, 4096}) {
    discovery->Args({1, length});
  }
  RegisterBenchmark("load", Load)->UseManualTime()->Iterations(200);
  RegisterBenchmark("memory", PolicyMemory)->UseManualTime()->Iterations(1);
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  bench::RegisterAll();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
