// Sends one workload's packet COUNT times and prints what each took from the heap:
//   packet_cost re-bind 1000  ->  allocations_per_packet 1
// Run under callgrind with --toggle-collect=SendPackets, it is also where instructions are counted.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/allocation_count.h"
#include "bench/workload.h"

namespace {

constexpr int kWarmUp = 10;  // the dynamic linker binds functions at their first call

// Of C linkage and never inlined, so that the profiler finds it by name.
extern "C" __attribute__((noinline)) void SendPackets(bench::LoadedService& service,
                                                      NuvrelPkt_t& request, int count) {
  for (int i = 0; i < count; ++i) {
    service.Send(request);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int count = argc == 3 ? std::atoi(argv[2]) : 0;
  for (bench::Workload& workload : bench::Workloads()) {
    if (count <= 0 || std::strcmp(workload.name, argv[1]) != 0) {
      continue;
    }
    bench::LoadedService service;
    bench::MakeReady(service);
    for (int i = 0; i < kWarmUp; ++i) {
      service.Send(workload.request);
    }
    const uint64_t before = bench::AllocationsSoFar().calls;
    SendPackets(service, workload.request, count);
    const auto calls = static_cast<double>(bench::AllocationsSoFar().calls - before);
    std::printf("allocations_per_packet %g\n", calls / count);
    return 0;
  }
  std::fprintf(stderr, "usage: packet_cost unknown-command|init-again|re-bind|apply COUNT\n");
  return 2;
}
