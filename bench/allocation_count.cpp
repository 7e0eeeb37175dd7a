#include "bench/allocation_count.h"

#include <cstdlib>
#include <new>

namespace {

bench::Allocations gAllocations{0, 0};

}  // namespace

namespace bench {

Allocations AllocationsSoFar() { return gAllocations; }

}  // namespace bench

// The array forms and the ones without exceptions come down to these.
void* operator new(std::size_t size) {
  ++gAllocations.calls;
  gAllocations.bytes += size;
  if (void* memory = std::malloc(size)) {
    return memory;
  }
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
