// The driver model: every command carried out, every refusal, and the state that is left.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "host/emulated_driver/driver_model.h"

namespace host {
namespace {

const std::string kAddClass =
    "SERVICE_CLASS_ADD service_class_id 2 buffer_latency_tolerance 4294967295 "
    "app_ind_default_dscp 63 app_ind_special_dscp 0";
const std::string kAddPolicy =
    "POLICY_ADD policy_type ipv4 src_ip 192.168.49.1 dst_ip 192.168.49.2 src_port 65535 dst_port 1 "
    "proto udp service_class_id 3";

// `text` with its one `from` replaced.
std::string With(std::string text, const std::string& from, const std::string& to) {
  return text.replace(text.find(from), from.size(), to);
}

const std::string kMask = "SET_TX_RATEMASK PHYMODE 3 RATEMASK 0xFF";
const std::string kUpdate = "POLICY_UPDATE cookie p1 service_class_id 1";
const std::string kNewFlow = With(kAddPolicy, "49.1", "49.9");

TEST(DriverModel, CarriesOutEachCommandAndHoldsItsState) {
  DriverModel model;
  const std::pair<std::string, std::string> steps[] = {
      {"SET_LATENCY_MODE 4294967295", "OK\n"},
      {"TSF_CONFIG TSF_SYNC_START 3000", "OK\n"},
      {"SET_TX_RATEMASK PHYMODE 2 RATEMASK 0x3fc0ff", "OK\n"},
      {kAddClass, "OK\n"},
      {kAddPolicy, "cookie=p1\n"},
      {With(kAddPolicy, "dst_port 1", "dst_port 2"), "cookie=p2\n"},
      {kNewFlow, "cookie=p3\n"},
      {"POLICY_UPDATE cookie p2 service_class_id 2", "OK\n"},
      {"POLICY_DELETE cookie p1", "OK\n"},
      {kAddPolicy, "cookie=p4\n"},
      {"POLICY_DELETE cookie p3", "OK\n"}};
  for (const auto& [command, reply] : steps) {
    EXPECT_EQ(model.Execute(command).reply, reply) << command;
  }
  EXPECT_EQ(model.Status(),
            "latency_mode=4294967295\ntx_ratemask_phymode=2\ntx_ratemask=0x003FC0FF\ntsf=on\n"
            "tsf_sync_interval=3000\nservice_classes=4\npolicies=2\n"
            "service_class[0]=latency 10 default_dscp 46 special_dscp 40\n"
            "service_class[1]=latency 20 default_dscp 46 special_dscp 40\n"
            "service_class[2]=latency 4294967295 default_dscp 63 special_dscp 0\n"
            "service_class[3]=latency 50 default_dscp 34 special_dscp 32\n"
            "policy[p2]=src 192.168.49.1:65535 dst 192.168.49.2:2 class 2\n"
            "policy[p4]=src 192.168.49.1:65535 dst 192.168.49.2:1 class 3\n");
  model.Execute("TSF_CONFIG TSF_SYNC_STOP");
  EXPECT_NE(model.Status().find("tsf=off\n"), std::string::npos);
}

// By a driver that has one policy already.
void ExpectRefused(const std::string& command) {
  DriverModel model;
  model.Execute(kAddPolicy);
  const std::string before = model.Status();
  const DriverAnswer answer = model.Execute(command);
  EXPECT_EQ(answer.reply, "FAIL\n") << command;
  EXPECT_TRUE(answer.events.empty()) << command;
  EXPECT_EQ(model.Status(), before) << command;
}

TEST(DriverModel, RefusesAnyOtherWordOrBlank) {
  const std::string commands[] = {"SET_LATENCY_MODE 2",
                                  "TSF_CONFIG TSF_SYNC_STOP",
                                  "TSF_CONFIG TSF_SYNC_START 3000",
                                  "SERVICE_CLASS_SHOW",
                                  kMask,
                                  "POLICY_DELETE cookie p1",
                                  kAddClass,
                                  kNewFlow,
                                  kUpdate};
  for (const std::string& good : commands) {
    for (const std::string& bad : {"x" + good, " " + good, good + " ", good + " 1", good + "\n"}) {
      ExpectRefused(bad);
    }
    for (size_t i = good.find(' '); i != std::string::npos; i = good.find(' ', i + 1)) {
      ExpectRefused(std::string(good).insert(i, " "));
      ExpectRefused(good.substr(0, i));
    }
  }
}

TEST(DriverModel, RefusesValuesADriverWould) {
  // A good command, a part of it, and what it must not be replaced by.
  const std::vector<std::string> cases[] = {
      {"SET_LATENCY_MODE 2", "2", "-1", "+2", "2x", "4294967296"},
      {"TSF_CONFIG TSF_SYNC_START 3000", "3000", "-1", "4294967296"},
      {kMask, "0xFF", "FF", "0x", "0X1", "0x1G", "0x-1", "0x000000001"},
      {kMask, "3", "x", "-3"},
      {kAddClass, "id 2", "id 3", "id 32", "id -1"},
      {kAddClass, "4294967295", "4294967296", "-1"},
      {kAddClass, "63", "64", "-1"},
      {kAddClass, "special_dscp 0", "special_dscp 64"},
      {kAddPolicy, "class_id 3", "class_id 3", "class_id 1"},  // the flow has a policy
      {kNewFlow, "class_id 3", "class_id 2", "class_id -3"},
      {kNewFlow, "ipv4", "ipv6"},
      {kNewFlow, "udp", "tcp"},
      {kNewFlow, "192.168.49.9", "192.168.49", "192.168.49.256", "::1"},
      {kNewFlow, "192.168.49.2", "peer", std::string("192.168.49.2\0x", 14)},
      {kNewFlow, "65535", "65536", "-5", "0"},
      {kNewFlow, "dst_port 1", "dst_port 0", "dst_port 65536"},
      {kUpdate, "p1", "p9", "", "P1"},
      {kUpdate, "id 1", "id 2", "id -1"},
      {"POLICY_DELETE cookie p1", "p1", "p2", ""}};
  for (const std::vector<std::string>& each : cases) {
    for (size_t i = 2; i < each.size(); ++i) {
      ExpectRefused(With(each[0], each[1], each[i]));
    }
  }
}

TEST(DriverModel, ShowsItsClassesInOneMessageBehindTheCount) {
  EXPECT_EQ(DriverModel(std::vector<ServiceClass>()).Execute("SERVICE_CLASS_SHOW").events,
            std::vector<std::string>{"<3>SVC-EVENT: svc_count:0"});

  const std::vector<std::string> expected = {
      "<3>SVC-EVENT: svc_count:2",
      "<3>SVC-EVENT: (service_class_id, buffer_latency_tolerance, app_ind_default_dscp, "
      "app_ind_special_dscp) (2, 4294967295, 63, 0) (7, 20, 46, 40)"};
  DriverModel model({{7, 20, 46, 40}});
  model.Execute(kAddClass);
  const DriverAnswer answer = model.Execute("SERVICE_CLASS_SHOW");
  EXPECT_EQ(answer.reply, "OK\n");
  EXPECT_EQ(answer.events, expected);
}

}  // namespace
}  // namespace host
