// What the in-process measurements run, by name, so that the times, the allocation counts and the
// instruction counts are of the same packets.
//
//   unknown-command   a packet with a command that there is not: nothing is run
//   init-again        Init on an initialised service
//   re-bind           an add-lapb-policy for a port that has a policy: one driver command
//   apply             an apply-link-settings: three driver commands
//
// Each is one packet, sent again and again to a service that MakeReady has prepared.
#ifndef NUVREL_BENCH_WORKLOAD_H_
#define NUVREL_BENCH_WORKLOAD_H_

#include <array>

#include "bench/loaded_service.h"

namespace bench {

inline constexpr int32_t kPort = 5000;
inline constexpr uint32_t kLatency = 20;

struct Workload {
  const char* name;
  NuvrelPkt_t request;
};

std::array<Workload, 4> Workloads();

// Brings the service through init, init-lapb-flow with `classes` classes and one policy, on the
// wrapper without a driver.
void MakeReady(LoadedService& service, size_t classes = 2);

}  // namespace bench

#endif  // NUVREL_BENCH_WORKLOAD_H_
