// Sends one packet 1,000 times to a service without a driver and prints what each took from the
// heap:
//   packet_cost "add-lapb-policy 5000 160 184 20"  ->  1
// Under callgrind with --toggle-collect=SendPackets it is where instructions are counted.
#include <cstdio>

#include "bench/measured_service.h"

// Of C linkage and never inlined, so that the profiler finds it by name.
extern "C" __attribute__((noinline)) void SendPackets(bench::MeasuredService& service,
                                                      const NuvrelPkt_t& request, int count) {
  for (int i = 0; i < count; ++i) {
    service.Send(request);
  }
}

int main(int argc, char** argv) {
  constexpr int kCount = 1000;
  bench::MeasuredService service;
  service.MakeReady();
  const NuvrelPkt_t request = bench::PacketsOf(argc > 1 ? argv[1] : "").front();
  service.Send(request);  // the dynamic linker binds functions at their first call
  const uint64_t before = bench::Allocations();
  SendPackets(service, request, kCount);
  std::printf("%g\n", static_cast<double>(bench::Allocations() - before) / kCount);
}
