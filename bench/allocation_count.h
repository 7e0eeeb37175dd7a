// Heap allocations counted, not assumed: the program's operator new, which every library in the
// process uses, adds up calls and bytes asked for.
//
//   const Allocations before = AllocationsSoFar();
//   ...
//   AllocationsSoFar().calls - before.calls
//
// For programs that allocate on one thread.
#ifndef NUVREL_BENCH_ALLOCATION_COUNT_H_
#define NUVREL_BENCH_ALLOCATION_COUNT_H_

#include <cstdint>

namespace bench {

struct Allocations {
  uint64_t calls;
  uint64_t bytes;
};

Allocations AllocationsSoFar();

}  // namespace bench

#endif  // NUVREL_BENCH_ALLOCATION_COUNT_H_
