#include "bench/measured_service.h"

#include <dlfcn.h>

#include <cstdlib>
#include <new>

#include "config/link_configuration.h"
#include "emulated_driver/refusal.h"
#include "framework/log_level.h"
#include "framework/wpa_cli_wrapper.h"
#include "wlc/steps.h"

namespace bench {
namespace {

thread_local uint64_t gAllocations = 0;

// Answers at once.
class BenchWrapper : public WpaCliWrapper {
 public:
  int32_t OpenCtrlInterface(const std::string& /*path*/) override { return 0; }
  int32_t CloseCtrlInterface() override { return 0; }
  int32_t ExecuteCommand(const std::string& command, const std::string& /*extra*/,
                         std::string& reply, int32_t /*flag*/) override {
    if (command.starts_with("DRIVER POLICY_ADD ")) {
      reply = "cookie=p" + std::to_string(++mLastCookie) + "\n";
    }
    return 0;
  }
  int32_t GetResponse(std::string& message, const std::string& /*prefix*/,
                      int32_t /*limit*/) override {
    message = gWrapper.messages[mNextMessage++ % gWrapper.messages.size()];
    return 0;
  }

 private:
  size_t mNextMessage = 0;
  uint32_t mLastCookie = 0;
} gBenchWrapper;

}  // namespace

WrapperBehaviour gWrapper;

uint64_t Allocations() { return gAllocations; }

std::vector<NuvrelPkt_t> PacketsOf(std::string_view commands) {
  std::vector<NuvrelPkt_t> packets;
  for (const Step& step : ParseSteps(commands)) {
    packets.push_back(step.command.Packet());
  }
  return packets.empty() ? std::vector<NuvrelPkt_t>(1) : packets;
}

MeasuredService::MeasuredService(const std::string& controlDirectory) {
  gWrapper = {.connected = !controlDirectory.empty()};
  gNuvrelLogLevel = 0;
  SetDiscovery("wlan0", "192.168.49.1", "192.168.49.2");
  mSettings.Set(std::string(kSettingPrefix) + "wlanEnableTsf", 1, "");
  mSettings.Set(std::string(kSettingPrefix) + "wpaifPath", controlDirectory, "");
  mHost.emplace(DefaultLibraryPath(), mSettings);
}

void MeasuredService::Play(const std::vector<NuvrelPkt_t>& requests) {
  for (const NuvrelPkt_t& request : requests) {
    if (Send(request) < 0) {
      throw Refusal("command {} failed: there is nothing to measure", request.payload[0]);
    }
  }
}

}  // namespace bench

WpaCliWrapper* GetWpacliWrapperHandle() {
  // The library's own, which this function hides.
  static const auto workstation = reinterpret_cast<decltype(&GetWpacliWrapperHandle)>(
      dlsym(RTLD_NEXT, "GetWpacliWrapperHandle"));
  return bench::gWrapper.connected ? workstation() : &bench::gBenchWrapper;
}
void ReleaseWpacliWrapperHandle() { GetWpacliWrapperHandle()->CloseCtrlInterface(); }

// The array forms and the ones without exceptions come down to these. Were they inlined, the
// compiler would see memory of one allocator given back to another.
__attribute__((noinline)) void* operator new(std::size_t size) {
  ++bench::gAllocations;
  if (void* memory = std::malloc(size)) {
    return memory;
  }
  throw std::bad_alloc();
}

__attribute__((noinline)) void operator delete(void* memory) noexcept { std::free(memory); }
__attribute__((noinline)) void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
