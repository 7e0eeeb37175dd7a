// Each end with a program that is not ours: wlc run with Debian's wpa_supplicant, wlc driver with
// Debian's wpa_cli.
#include <gmock/gmock.h>

#include <memory>

#include "tests/runner_process.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

// A supplicant on a wired driver, which needs no radio, serving `control`/lo when it returns. It
// needs rights over a network: over one of its own, where the test has none.
std::unique_ptr<Process> StartSupplicant(const std::string& settings, const std::string& control) {
  Words command = {WPA_SUPPLICANT, "-Dwired", "-ilo", "-c", settings};
  if (geteuid() != 0) {
    command.insert(command.begin(), {"unshare", "--map-root-user", "--net"});
  }
  std::filesystem::remove(control + "/lo");  // what a killed one has left
  auto supplicant = std::make_unique<Process>(command);
  EXPECT_TRUE(ComesTrue([&] { return std::filesystem::exists(control + "/lo"); }));
  return supplicant;
}

TEST(RunnerRealPeer, SupplicantRefusesVanishesAndComesBack) {
  const TestDirectory directory;
  const std::string control = directory.Path() + "/ctrl";
  std::filesystem::create_directory(control);
  const std::string settings =
      directory.File("wpa.conf", "ctrl_interface=" + control + "\nap_scan=0\n");
  auto supplicant = StartSupplicant(settings, control);

  Process wlc = Wlc(
      {"run", "--ctrl-dir", control, "--interface", "lo", "--script", "-", "--log-level", "error"});
  const std::string id = std::to_string(wlc.Id());
  wlc.Write("init\ninit-lapb-flow\napply-link-settings\n");
  ASSERT_TRUE(wlc.Await("nothing can be checked"));
  EXPECT_THAT(Labelled(wlc.Out(), "status"), ElementsAre("0, done", "-1, failed", "-1, failed"));
  EXPECT_THAT(Labelled(wlc.Out(), "sends"),
              ElementsAre("DRIVER SERVICE_CLASS_SHOW", "DRIVER SET_LATENCY_MODE 2",
                          "DRIVER SET_TX_RATEMASK PHYMODE 3 RATEMASK 0x003FC0FF"));
  EXPECT_THAT(Labelled(wlc.Out(), "answer"), Each("UNKNOWN COMMAND"));

  supplicant->Kill();
  wlc.Write("revert-link-settings\ninit-lapb-flow\nadd-lapb-policy 1 2 3 4\ndeinit\ninit\n");
  ASSERT_TRUE(wlc.Await("8   init\n      status   -1, failed")) << wlc.Out();
  EXPECT_EQ(Labelled(wlc.Out(), "answer").back(), "(none)");

  supplicant = StartSupplicant(settings, control);
  wlc.Write("init\ninit\n");
  EXPECT_EQ(wlc.Finish(), 1);
  const Words statuses = Labelled(wlc.Out(), "status");
  EXPECT_THAT(Words(statuses.begin() + 3, statuses.end()),
              ElementsAre("-1, failed", "-1, failed", "-1, failed", "0, done", "-1, failed",
                          "0, done", "1, already initialised"));
  for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
    EXPECT_FALSE(entry.path().filename().string().starts_with("wpa_ctrl_" + id + "-"));
  }
}

TEST(RunnerRealPeer, WpaCliDrivesTheEmulatedDriver) {
  const TestDirectory directory;
  Process driver = Wlc({"driver", "--ctrl-dir", directory.Path()});
  ASSERT_TRUE(driver.Await("listens at"));
  const Words cli = {WPA_CLI, "-p", directory.Path(), "-i", "wlan0"};
  Process attached(cli);
  attached.Write("ping\n");
  ASSERT_TRUE(attached.Await("PONG"));

  const struct {
    Words command;
    std::string answer;
  } cases[] = {
      {{"ping"}, "PONG\n"},
      {{"raw", "DRIVER", "SET_LATENCY_MODE", "2"}, "OK\n"},
      {{"raw", "DRIVER", "TSF_CONFIG", "TSF_SYNC_START", "3000"}, "OK\n"},
      {{"raw", "DRIVER", "TSF_CONFIG", "TSF_SYNC_STOP"}, "OK\n"},
      {{"raw", "DRIVER", "SET_TX_RATEMASK", "PHYMODE", "3", "RATEMASK", "0x003FC0FF"}, "OK\n"},
      {{"raw", "DRIVER", "SERVICE_CLASS_SHOW"}, "OK\n"},
      {{"raw", "DRIVER", "SERVICE_CLASS_ADD", "service_class_id", "2", "buffer_latency_tolerance",
        "30", "app_ind_default_dscp", "46", "app_ind_special_dscp", "40"},
       "OK\n"},
      {{"raw", "DRIVER", "POLICY_ADD", "policy_type", "ipv4", "src_ip", "10.0.0.1", "dst_ip",
        "10.0.0.2", "src_port", "5", "dst_port", "5", "proto", "udp", "service_class_id", "2"},
       "cookie=p1\n"},
      {{"raw", "DRIVER", "POLICY_UPDATE", "cookie", "p1", "service_class_id", "3"}, "OK\n"},
      {{"raw", "DRIVER", "POLICY_DELETE", "cookie", "p1"}, "OK\n"},
      {{"raw", "DRIVER", "POLICY_DELETE", "cookie", "p1"}, "FAIL\n"},
      {{"raw", "DANCE"}, "UNKNOWN COMMAND\n"},
  };
  for (const auto& one : cases) {
    Words command = cli;
    command.insert(command.end(), one.command.begin(), one.command.end());
    Process client(command);
    client.Finish();  // wpa_cli's exit status says nothing of the answer
    EXPECT_EQ(client.Out(), one.answer) << ::testing::PrintToString(one.command);
  }
  Process status({WPA_CLI, "-p", directory.Path(), "-i", "wlan0", "status"});
  status.Finish();
  EXPECT_THAT(status.Out(), HasSubstr("latency_mode=2\n"));
  EXPECT_THAT(status.Out(), HasSubstr("service_classes=4\npolicies=0\n"));

  EXPECT_TRUE(attached.Await("<3>SVC-EVENT: svc_count:3"));
  EXPECT_TRUE(attached.Await("(1, 20, "));
  attached.Write("quit\n");
  attached.Finish();
  driver.Signal(SIGINT);
  EXPECT_EQ(driver.Finish(), 0);
}

}  // namespace
