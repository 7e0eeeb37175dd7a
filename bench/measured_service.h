// The service as it ships, ready to be measured: its shared library, driven by packets, on a
// wrapper library that answers at once or hands everything on to the workstation's.
//
//   MeasuredService service;                        // no driver: what is left is its own cost
//   service.MakeReady();
//   service.Play(PacketsOf("apply-link-settings"));
//
// The program exports the wrapper library's two functions, and the service, when loaded, takes
// these before those of the library that it was linked with. Settings: TSF synchronisation on, all
// else as the service has it; every log line gated off. One service at a time, on one thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/nuvrel_packet.h"
#include "wlc/service_host.h"
#include "wlc/toml_config.h"

namespace bench {

// Of the driver's socket, seen from the project's folder: run.sh starts one there.
inline constexpr char kDriverDirectory[] = "build-bench/driver";

// Calls of operator new on this thread so far, by whatever library.
uint64_t Allocations();

// The packets of commands as wlc takes them, such as "init add-lapb-policy 5000 160 184 20". One of
// command byte 0, which is no command, for an empty text.
std::vector<NuvrelPkt_t> PacketsOf(std::string_view commands);
// For the port that MakeReady has bound: one driver command.
inline constexpr char kRebind[] = "add-lapb-policy 5000 160 184 20";

// What the wrapper library does that the service gets at its init.
struct WrapperBehaviour {
  bool connected = false;  // is the workstation's; otherwise a command succeeds at once
  // Come in turn, from the first again after the last.
  std::vector<std::string> messages = {"<3>SVC-EVENT: svc_count:1",
                                       "<3>SVC-EVENT: (id) (1, 20, 46, 40)"};
};
extern WrapperBehaviour gWrapper;

class MeasuredService {
 public:
  // With the driver whose socket is in `controlDirectory`, or with none. Resets gWrapper.
  explicit MeasuredService(const std::string& controlDirectory = "");
  int32_t Send(const NuvrelPkt_t& request) { return mHost->Send(request).value_or(-1); }
  // Sends each; throws a Refusal unless it succeeds.
  void Play(const std::vector<NuvrelPkt_t>& requests);
  // init, init-lapb-flow and a policy for port 5000.
  void MakeReady() { Play(PacketsOf("init init-lapb-flow add-lapb-policy 5000 160 184 20")); }

 private:
  TomlConfig mSettings;
  std::optional<ServiceHost> mHost;  // released first
};

}  // namespace bench
