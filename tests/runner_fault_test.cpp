// Faults planted in the emulated driver, and what becomes of a session: status, wire, driver state.
#include <gmock/gmock.h>

#include "tests/runner_process.h"

namespace {

constexpr char kWholeWire[] =
    "SERVICE_CLASS_SHOW SET_LATENCY_MODE SET_TX_RATEMASK POLICY_ADD SERVICE_CLASS_ADD POLICY_ADD "
    "POLICY_DELETE POLICY_DELETE ";
constexpr char kNoDiscovery[] = "SERVICE_CLASS_SHOW SET_LATENCY_MODE SET_TX_RATEMASK ";

struct FaultCase {
  std::string rule;
  std::string statuses;  // of init, init-lapb-flow, apply-link-settings, two add-lapb-policy, clear
  std::string wire;      // the driver commands' first words
  std::string state;     // latency mode, service classes, policies at the end
  Words differences;     // what the driver is found to hold otherwise: how each begins
  int fired = 1;
};

void PrintTo(const FaultCase& one, std::ostream* stream) { *stream << one.rule; }

class RunnerFault : public ::testing::TestWithParam<FaultCase> {};

std::string Joined(const Words& words) {
  std::string text;
  for (const std::string& word : words) {
    text += word.substr(0, word.find_first_of(" ,;")) + " ";
  }
  return text;
}

TEST_P(RunnerFault, StatusWireAndDriverStateAreAsTheRuleMakesThem) {
  const FaultCase& one = GetParam();
  Process wlc = Wlc({"run", "--fault", one.rule, "--log-level", "error", "init", "init-lapb-flow",
                     "apply-link-settings", "add-lapb-policy 5000 160 184 20",
                     "add-lapb-policy 5002 160 184 30", "clear-lapb-policies"});
  EXPECT_EQ(wlc.Finish(), one.statuses.find('-') == std::string::npos ? 0 : 1);
  EXPECT_EQ(Joined(Labelled(wlc.Out(), "status")), one.statuses);
  Words sent = Labelled(wlc.Out(), "sends");
  for (std::string& command : sent) {
    command.erase(0, std::string("DRIVER ").size());
  }
  EXPECT_EQ(Joined(sent), one.wire);
  std::string state;
  for (const char* key : {"latency_mode", "service_classes", "policies"}) {
    state += Joined(Labelled(wlc.Out(), key));
  }
  EXPECT_EQ(state, one.state);
  const Words differences = Labelled(wlc.Out(), "differs");
  ASSERT_EQ(differences.size(), one.differences.size()) << wlc.Out();
  for (size_t i = 0; i < differences.size(); ++i) {
    EXPECT_THAT(differences[i], ::testing::StartsWith(one.differences[i]));
  }
  const std::string often = one.fired == 1 ? "once" : std::to_string(one.fired) + " times";
  EXPECT_THAT(wlc.Out(), ::testing::HasSubstr("fault " + one.rule + " fired " + often));
}

// A dropped answer takes the client library's ten seconds, a missing message the service's 1.5.
INSTANTIATE_TEST_SUITE_P(
    EachRule, RunnerFault,
    ::testing::Values(
        FaultCase{"SET_LATENCY_MODE:fail", "0 0 -1 0 0 0 ", kWholeWire, "1 4 0 ", {}},
        FaultCase{"SET_LATENCY_MODE:drop",
                  "0 0 -1 0 0 0 ",
                  kWholeWire,
                  "2 4 0 ",
                  {"latency_mode is \"2\" in the driver, \"1\""}},
        FaultCase{"SET_TX_RATEMASK:delay=50", "0 0 0 0 0 0 ", kWholeWire, "2 4 0 ", {}},
        FaultCase{"SET_TX_RATEMASK:reply=UNKNOWN COMMAND",
                  "0 0 -1 0 0 0 ",
                  kWholeWire,
                  "2 4 0 ",
                  {"tx_ratemask is \"0x003FC0FF\" in the driver, \"0xFFFFFFFF\""}},
        FaultCase{"ATTACH:fail", "-1 -1 -1 -1 -1 -1 ", kNoDiscovery, "1 3 0 ", {}},
        FaultCase{"SERVICE_CLASS_SHOW:fail", "0 -1 0 -1 -1 -1 ", kNoDiscovery, "2 3 0 ", {}},
        FaultCase{"SERVICE_CLASS_ADD:fail",
                  "0 0 0 0 -1 0 ",
                  "SERVICE_CLASS_SHOW SET_LATENCY_MODE SET_TX_RATEMASK POLICY_ADD "
                  "SERVICE_CLASS_ADD POLICY_DELETE ",
                  "2 3 0 ",
                  {}},
        FaultCase{"POLICY_ADD:fail@2",
                  "0 0 0 0 -1 0 ",
                  "SERVICE_CLASS_SHOW SET_LATENCY_MODE SET_TX_RATEMASK POLICY_ADD "
                  "SERVICE_CLASS_ADD POLICY_ADD POLICY_DELETE ",
                  "2 4 0 ",
                  {}},
        FaultCase{"POLICY_ADD:reply=OK@1",
                  "0 0 0 0 0 -1 ",
                  kWholeWire,
                  "2 4 1 ",
                  {"policy[] (src ", "policy[p1] (src "}},
        FaultCase{"POLICY_DELETE:failx1", "0 0 0 0 0 -1 ", kWholeWire, "2 4 1 ", {"policy[p"}},
        FaultCase{"events:drop@1", "0 -1 0 -1 -1 -1 ", kNoDiscovery, "2 3 0 ", {}},
        FaultCase{"events:delay=100", "0 0 0 0 0 0 ", kWholeWire, "2 4 0 ", {}, 2},
        FaultCase{"events:delay=2000@2", "0 -1 0 -1 -1 -1 ", kNoDiscovery, "2 3 0 ", {}},
        FaultCase{"events:garble=7@1", "0 -1 0 -1 -1 -1 ", kNoDiscovery, "2 3 0 ", {}}));

}  // namespace
