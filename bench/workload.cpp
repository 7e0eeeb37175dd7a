#include "bench/workload.h"

#include "bench/noop_wrapper.h"

namespace bench {

std::array<Workload, 4> Workloads() {
  return {{{"unknown-command", Request(0)},
           {"init-again", Request(NUVREL_WLC_CMD_INIT)},
           {"re-bind", AddPolicyRequest(kPort, kLatency)},
           {"apply", Request(NUVREL_WLC_CMD_APPLY_LINK_SETTINGS)}}};
}

void MakeReady(LoadedService& service, size_t classes) {
  NoopWrapper& wrapper = TheNoopWrapper();
  wrapper.AnswerClasses(classes, ClassMessage(classes));
  service.MustSend(Request(NUVREL_WLC_CMD_INIT));
  service.MustSend(Request(NUVREL_WLC_CMD_INIT_LAPB_FLOW));
  wrapper.mGivesCookies = true;
  service.MustSend(AddPolicyRequest(kPort, kLatency));
  wrapper.mGivesCookies = false;
}

}  // namespace bench
