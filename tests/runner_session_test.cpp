// wlc run and wlc driver as a person starts them: the real program, the real service.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/runner_process.h"

namespace {

using Json = nlohmann::json;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const std::string kExamples = WLC_EXAMPLES;

std::string PolicyAdd(int port, int serviceClass) {
  const std::string text = std::to_string(port);
  return "DRIVER POLICY_ADD policy_type ipv4 src_ip 192.168.49.1 dst_ip 192.168.49.2 src_port " +
         text + " dst_port " + text + " proto udp service_class_id " + std::to_string(serviceClass);
}

std::vector<Json> JsonLines(const std::string& text) {
  std::vector<Json> objects;
  for (const std::string& line : Lines(text)) {
    objects.push_back(Json::parse(line));
  }
  return objects;
}

Words Wire(const std::vector<Json>& commands) {
  Words wire;
  for (const Json& command : commands) {
    for (const Json& exchange : command["exchanges"]) {
      wire.push_back(exchange["command"]);
    }
  }
  return wire;
}

TEST(RunnerSession, BuiltInSessionShowsEveryDriverCommandAndItsEnd) {
  Process wlc = Wlc({"run"});
  EXPECT_EQ(wlc.Finish(), 0);
  EXPECT_EQ(wlc.Error(), "");
  const Words sent = Labelled(wlc.Out(), "sends");
  ASSERT_THAT(sent, SizeIs(13));
  EXPECT_THAT(
      Words(sent.begin(), sent.end() - 5),
      ElementsAre("DRIVER SERVICE_CLASS_SHOW", "DRIVER SET_LATENCY_MODE 2",
                  "DRIVER TSF_CONFIG TSF_SYNC_START 3000",
                  "DRIVER SET_TX_RATEMASK PHYMODE 3 RATEMASK 0x003FC0FF", PolicyAdd(5000, 1),
                  "DRIVER SERVICE_CLASS_ADD service_class_id 2 buffer_latency_tolerance 30 "
                  "app_ind_default_dscp 46 app_ind_special_dscp 40",
                  PolicyAdd(5002, 2), "DRIVER POLICY_UPDATE cookie p1 service_class_id 2"));
  EXPECT_THAT(Words(sent.end() - 5, sent.end() - 3),
              ::testing::UnorderedElementsAre("DRIVER POLICY_DELETE cookie p1",
                                              "DRIVER POLICY_DELETE cookie p2"));
  EXPECT_THAT(Words(sent.end() - 3, sent.end()),
              ElementsAre("DRIVER SET_LATENCY_MODE 1", "DRIVER TSF_CONFIG TSF_SYNC_STOP",
                          "DRIVER SET_TX_RATEMASK PHYMODE 3 RATEMASK 0xFFFFFFFF"));
  EXPECT_THAT(Labelled(wlc.Out(), "message"),
              ElementsAre("<3>SVC-EVENT: svc_count:3", HasSubstr("(1, 20, 46, 40)")));
  const Words statuses = Labelled(wlc.Out(), "status");
  EXPECT_THAT(statuses, SizeIs(9));
  EXPECT_THAT(statuses, ::testing::Each(::testing::StartsWith("0, done")));
  EXPECT_EQ(std::count(statuses.begin(), statuses.end(), "0, done; the driver's STATUS agrees"), 6);
  EXPECT_THAT(Labelled(wlc.Out(), "service_classes"), ElementsAre("4"));
  EXPECT_THAT(Labelled(wlc.Out(), "policies"), ElementsAre("0"));
}

TEST(RunnerSession, ExitStatusSaysWhetherItRanAndHowItWent) {
  const TestDirectory directory;
  const std::string wrongType = directory.File(
      "wrong.toml", "[nuvrel.services.wirelesslinkconfig]\nwlanXRLatencyMode = \"2\"\n");
  const std::string badScript = directory.File("bad.wlc", "init\n\nadd-lapb-policy 1 2 3\n");
  const std::string longLine = directory.File("long.wlc", std::string(5000, 'x') + "\n");
  const struct {
    Words arguments;
    int status;
    std::string error;  // within the one line, or nothing at all
  } cases[] = {
      {{"run", "init", "--log-level", "error", "deinit"}, 0, ""},
      {{"run", "init init", "repeat", "2", "deinit", "--log-level=error"}, 0, ""},
      {{"run", "apply-link-settings"}, 1, "Link Configuration is not available"},
      {{"run", "init", "init-lapb-flow", "add-lapb-policy", "-1", "0", "255", "4294967295"},
       1,
       "Unable to execute wpa driver command to add LAPB Flow policy"},
      {{"run", "dance"}, 2, "\"dance\" is not a command; there are init, "},
      {{"run", "init", "add-lapb-policy 5000 160"},
       2,
       "DEF_TOS (default ToS, 0 to 255) is missing"},
      {{"run", "add-lapb-policy 2147483648 0 0 0"}, 2, "2147483648 is out of range for PORT"},
      {{"run", "add-lapb-policy 0 256 0 0"}, 2, "256 is out of range for SPL_TOS"},
      {{"run", "add-lapb-policy 0 0 0 4294967296"}, 2, "4294967296 is out of range for LATENCY"},
      {{"run", "add-lapb-policy 0 0 0 0x10"}, 2, "\"0x10\" is not a decimal number for LATENCY"},
      {{"run", "repeat", "3"}, 2, "repeat: a command must follow the number"},
      {{"run", "--script", badScript}, 2, "bad.wlc:3: add-lapb-policy: LATENCY"},
      {{"run", "--script", longLine}, 2, "long.wlc:1: the line is longer than 4095 bytes"},
      {{"run", "--script", "/nonexistent"}, 2, "/nonexistent: No such file"},
      {{"run", "--script", badScript, "init"}, 2, "give either commands or a script"},
      {{"run", "--config", wrongType}, 2, "wrong.toml:2: wlanXRLatencyMode: expected an integer"},
      {{"run", "--library", "/nonexistent.so"}, 2, "/nonexistent.so: cannot open shared object"},
      {{"run", "--library", "libnuvrelcoreutils.so"}, 2, "lacks an entry point"},
      {{"run", "--ctrl-dir", "/nonexistent"}, 2, "--ctrl-dir: Directory does not exist"},
      {{"run", "--ctrl-dir", "/tmp", "--fault", "PING:fail"}, 2, "give the rule to wlc driver"},
      {{"run", "--fault", "PING:dance"}, 2, "dance"},
      {{"run", "--interface", "a/b"}, 2, "\"a/b\" is not an interface name"},
      {{"run", "--trace", "/nonexistent/t"}, 2, "cannot write the trace /nonexistent/t"},
      {{"run", "--log-level", "all"}, 2, "\"all\" is not error, warn, info or debug"},
      {{"driver", "--ctrl-dir", "/tmp", "--fault", "PING"}, 2, "PING"},
      {{}, 2, "subcommand is required"},
  };
  for (const auto& one : cases) {
    Process wlc = Wlc(one.arguments);
    SCOPED_TRACE(::testing::PrintToString(one.arguments));
    EXPECT_EQ(wlc.Finish(), one.status);
    EXPECT_THAT(wlc.Error(), HasSubstr(one.error));
    EXPECT_EQ(wlc.Error().empty(), one.error.empty()) << wlc.Error();
    if (one.status == 2) {
      EXPECT_THAT(Lines(wlc.Error()), SizeIs(1));
      EXPECT_EQ(wlc.Out(), "") << "something has been run";
    }
  }
}

TEST(RunnerSession, SeparateDriverGetsTheSameSession) {
  const TestDirectory directory;
  Process driver = Wlc({"driver", "--ctrl-dir", directory.Path(), "--interface", "xr0"});
  ASSERT_TRUE(driver.Await("listens at " + directory.Path() + "/xr0"));
  const Words play = {"run",      "--json",
                      "--config", kExamples + "/streaming.toml",
                      "--script", kExamples + "/streaming.wlc"};
  Words separately = play;
  separately.insert(separately.end(), {"--ctrl-dir", directory.Path(), "--interface", "xr0"});
  Process outside = Wlc(separately);
  Process inside = Wlc(play);
  EXPECT_EQ(outside.Finish(), 0);
  EXPECT_EQ(inside.Finish(), 0);
  const Words wire = Wire(JsonLines(inside.Out()));
  EXPECT_THAT(wire, Contains("DRIVER TSF_CONFIG TSF_SYNC_START 500"));
  EXPECT_EQ(Wire(JsonLines(outside.Out())), wire);

  Process second = Wlc({"driver", "--ctrl-dir", directory.Path(), "--interface", "xr0"});
  EXPECT_EQ(second.Finish(), 2);
  EXPECT_THAT(second.Error(), HasSubstr("in use"));
  driver.Signal(SIGTERM);
  EXPECT_EQ(driver.Finish(), 0);
  EXPECT_TRUE(std::filesystem::is_empty(directory.Path()));
}

TEST(RunnerSession, EvidenceTellsWhatTheDriverNoLongerHas) {
  const TestDirectory directory;
  Process driver = Wlc({"driver", "--ctrl-dir", directory.Path()});
  ASSERT_TRUE(driver.Await("listens at"));
  Process wlc = Wlc({"run", "--ctrl-dir", directory.Path(), "--script", "-"});
  wlc.Write("init\ninit-lapb-flow\nadd-lapb-policy 5000 160 184 20\n");
  ASSERT_TRUE(wlc.Await("STATUS agrees"));
  Process other({WPA_CLI, "-p", directory.Path(), "-i", "wlan0", "raw", "DRIVER", "POLICY_DELETE",
                 "cookie", "p1"});
  other.Finish();
  wlc.Write("repeat 2 apply-link-settings\n");
  EXPECT_EQ(wlc.Finish(), 0);
  EXPECT_THAT(Labelled(wlc.Out(), "differs"),
              ElementsAre("policy[p1] (src 192.168.49.1:5000 dst 192.168.49.2:5000 class 1) is not "
                          "in the driver"))
      << "told, and told once";
}

// A supplicant's answers end at 4096 bytes: what is not listed there is not missed.
TEST(RunnerSession, EvidenceDoesNotMissWhatTheStatusHasNoRoomFor) {
  const TestDirectory directory;
  std::string script = "init\ninit-lapb-flow\n";
  for (int port = 1000; port < 1080; ++port) {
    script += "add-lapb-policy " + std::to_string(port) + " 160 184 20\n";
  }
  Process wlc = Wlc({"run", "--script", directory.File("many.wlc", script)});
  EXPECT_EQ(wlc.Finish(), 0);
  EXPECT_THAT(Labelled(wlc.Out(), "differs"), IsEmpty());
  EXPECT_EQ(Labelled(wlc.Out(), "status").back(), "0, done");
  EXPECT_THAT(Labelled(wlc.Out(), "policies"), ElementsAre("80"));
}

TEST(RunnerSession, StandardInputIsAnsweredAsItGoes) {
  Process wlc = Wlc({"run", "--script", "-", "--log-level", "error"});
  wlc.Write("init # a comment\n");
  ASSERT_TRUE(wlc.Await("status   0, done"));
  wlc.Write("dance\n");
  ASSERT_TRUE(wlc.Await("standard input:2: \"dance\" is not a command"));
  wlc.Write("\nrepeat 2 init\n");
  ASSERT_TRUE(wlc.Await("3   init"));
  EXPECT_EQ(wlc.Finish(), 2) << "a line could not be played";
  EXPECT_THAT(Labelled(wlc.Out(), "status"),
              ElementsAre("0, done", "1, already initialised", "1, already initialised"));
}

TEST(RunnerSession, InterruptEndsTheSessionInGoodOrder) {
  Process wlc = Wlc({"run", "init", "sleep 3600000", "deinit"});
  ASSERT_TRUE(wlc.Await("status   0, done"));
  wlc.Signal(SIGINT);
  EXPECT_EQ(wlc.Finish(), 0);
  EXPECT_THAT(wlc.Out(), HasSubstr("1 command, every status zero or more"));
}

TEST(RunnerSession, ExamplesPlay) {
  for (const auto& [script, status] :
       {std::pair("streaming", 0), std::pair("rebind", 0), std::pair("out-of-order", 1)}) {
    for (const char* settings : {"headset", "streaming"}) {
      Process wlc = Wlc({"run", "--emulated", "--config", kExamples + "/" + settings + ".toml",
                         "--script", kExamples + "/" + script + ".wlc"});
      EXPECT_EQ(wlc.Finish(), status) << script << " with " << settings << wlc.Error();
    }
  }
}

TEST(RunnerSession, JsonTellsEachCommandWhole) {
  Process wlc = Wlc({"run", "--json", "--log-level", "error", "--fault", "POLICY_ADD:fail", "init",
                     "init-lapb-flow", "add-lapb-policy 5000 160 184 20"});
  EXPECT_EQ(wlc.Finish(), 1);
  const std::vector<Json> commands = JsonLines(wlc.Out());
  ASSERT_THAT(commands, SizeIs(3));
  const Json& wait = commands[1]["waits"][0];
  EXPECT_EQ(wait["message"], "<3>SVC-EVENT: svc_count:3");
  EXPECT_EQ(wait["result"], 0);
  const Json& policy = commands[2];
  EXPECT_EQ(policy["command"], "add-lapb-policy");
  EXPECT_EQ(policy["parameters"],
            Json({{"port", 5000}, {"special_tos", 160}, {"default_tos", 184}, {"latency", 20}}));
  EXPECT_EQ(policy["status"], -1);
  EXPECT_EQ(policy["exchanges"][0]["command"], PolicyAdd(5000, 1));
  EXPECT_EQ(policy["exchanges"][0]["reply"], "FAIL");
  EXPECT_LT(policy["exchanges"][0]["result"], 0);
  EXPECT_GE(policy["microseconds"], policy["exchanges"][0]["microseconds"]);
  EXPECT_EQ(policy["checked"], true);
  EXPECT_THAT(wlc.Error(), HasSubstr("fault POLICY_ADD:fail fired once"));
}

TEST(RunnerSession, TraceNestsAndNames) {
  const TestDirectory directory;
  Process wlc = Wlc(
      {"run", "--trace", directory.Path() + "/trace.json", "--fault", "SET_LATENCY_MODE:fail@1"});
  EXPECT_EQ(wlc.Finish(), 1);
  const Json trace = Json::parse(directory.Content("trace.json"));
  std::map<int, std::vector<Json>> slices;
  std::map<std::string, Words> names;  // by kind of event
  std::map<std::string, std::vector<int>> counters;
  for (const Json& event : trace["traceEvents"]) {
    const std::string kind = event["ph"];
    names[kind].push_back(kind == "M" ? event["args"].value("name", "") : event.value("name", ""));
    if (kind == "X") {
      slices[event["tid"]].push_back(event);
    } else if (kind == "C") {
      counters[event["name"]].push_back(event["args"]["count"]);
    }
  }
  EXPECT_THAT(names["M"], Contains("commands"));
  EXPECT_THAT(names["M"], Contains("driver exchanges"));
  EXPECT_THAT(names["M"], Contains("waiting for driver messages"));
  EXPECT_THAT(names["i"], ElementsAre(HasSubstr("set xr latency mode"),
                                      HasSubstr("Failed to apply all wpa_client configurations")));
  EXPECT_THAT(counters["policies"], ElementsAre(0, 1, 2, 2, 0, 0));
  EXPECT_THAT(counters["service classes"], ElementsAre(3, 3, 4, 4, 4, 4));
  ASSERT_THAT(slices[1], SizeIs(9));
  EXPECT_EQ(slices[1][2]["name"], "apply-link-settings");
  EXPECT_EQ(slices[1][2]["args"]["status"], -1);
  ASSERT_THAT(slices[2], SizeIs(13));
  EXPECT_EQ(slices[2][1]["name"], "SET_LATENCY_MODE");
  EXPECT_THAT(slices[3], SizeIs(2));
  for (const int track : {2, 3}) {
    for (const Json& inner : slices[track]) {
      const auto within = [&inner](const Json& outer) {
        const double begin = inner["ts"];
        const double end = begin + inner["dur"].get<double>();
        const double outerBegin = outer["ts"];
        return outerBegin <= begin && end <= outerBegin + outer["dur"].get<double>() + 0.001;
      };
      EXPECT_EQ(std::count_if(slices[1].begin(), slices[1].end(), within), 1) << inner;
    }
  }
}

// The commands that explain lists under a heading.
Words Listed(const std::string& text, const std::string& heading) {
  Words listed;
  bool under = false;
  for (const std::string& line : Lines(text)) {
    under = line == heading || (under && line.starts_with("  "));
    if (under && line != heading) {
      listed.push_back(line.substr(2));
    }
  }
  return listed;
}

TEST(RunnerSession, ExplainAgreesWithWhatTheServiceSends) {
  const TestDirectory directory;
  const std::string table = "[nuvrel.services.wirelesslinkconfig]\n";
  const std::string files[] = {
      directory.File("empty.toml", ""),
      directory.File("odd.toml", table +
                                     "wlanXRLatencyMode = -3\nwlanNormalLatencyMode = 7\n"
                                     "wlanEnableTsf = true\nwlanTsfSyncInterval = -1\n"
                                     "wlanSetRatemask = \"0XAB\"\n"
                                     "wlanOriginalRatemask = \"" +
                                     std::string(600, 'M') + "\"\n"),
      kExamples + "/headset.toml", kExamples + "/streaming.toml"};
  for (const std::string& file : files) {
    Process explain = Wlc({"explain", file});
    EXPECT_EQ(explain.Finish(), 0) << explain.Error();
    Words told = Listed(explain.Out(), "apply-link-settings sends");
    const Words revert = Listed(explain.Out(), "revert-link-settings sends");
    told.insert(told.end(), revert.begin(), revert.end());
    Process run = Wlc({"run", "--json", "--emulated", "--config", file, "init",
                       "apply-link-settings", "revert-link-settings"});
    run.Finish();
    EXPECT_EQ(told, Wire(JsonLines(run.Out()))) << file;
  }
}

TEST(RunnerSession, ExplainNamesOriginsAndSurprises) {
  const TestDirectory directory;
  const std::string file = directory.File(
      "odd.toml",
      "[nuvrel.services.wirelesslinkconfig]\nwlanNormalLatencyMode = -1\n"
      "wlanOriginalRatemask = \"all\"\ndisableRRA = true\n"
      "wlanUnitTestTargetNode = \"/sys/Dir\"\nwlanTsfSyncInterval = true\ncolour = 3\n");
  Process wlc = Wlc({"explain", "--interface", "wlan7", file});
  EXPECT_EQ(wlc.Finish(), 1);
  EXPECT_THAT(Labelled(wlc.Out(), "wlanNormalLatencyMode"), ElementsAre(HasSubstr("-1  ")))
      << "and its origin";
  EXPECT_THAT(wlc.Out(), HasSubstr("odd.toml:2\n"));
  EXPECT_THAT(Labelled(wlc.Out(), "wlanTsfSyncInterval"), ElementsAre(HasSubstr("default")));
  EXPECT_THAT(Listed(wlc.Out(), "and writes to /sys/dir/wlan7/unit_test_target"),
              ElementsAre("10 2 42 0", "10 3 47 0 0", "10 3 47 1 0"));
  EXPECT_THAT(
      Listed(wlc.Out(), "May surprise"),
      ElementsAre(HasSubstr(":2: wlanNormalLatencyMode: -1 reaches the driver as 4294967295"),
                  HasSubstr(":3: wlanOriginalRatemask: \"all\" is not a mask"),
                  HasSubstr(":5: wlanUnitTestTargetNode: reaches the service in lower")));
  EXPECT_THAT(wlc.Out(), HasSubstr("odd.toml:6: wlanTsfSyncInterval: expected an integer"));
  EXPECT_THAT(wlc.Out(), HasSubstr("odd.toml:7: colour: "));
  Process misspelt =
      Wlc({"explain", directory.File("misspelt.toml", "[nuvrel.services.x]\na = 1\n")});
  EXPECT_EQ(misspelt.Finish(), 0);
  EXPECT_THAT(Listed(misspelt.Out(), "May surprise"),
              ElementsAre(HasSubstr(": nothing in a table")));
  Process missing = Wlc({"explain", "/nonexistent.toml"});
  EXPECT_EQ(missing.Finish(), 2);
  EXPECT_THAT(missing.Error(), HasSubstr("/nonexistent.toml"));
}

TEST(RunnerSession, LogLevelDecidesWhatReachesStandardError) {
  for (const auto& [level, letters] : {std::pair("error", ""), std::pair("warn", "W"),
                                       std::pair("info", "IW"), std::pair("debug", "DIW")}) {
    Process wlc = Wlc({"run", "--log-level", level, "init", "add-lapb-policy 1 2 3 4"});
    EXPECT_EQ(wlc.Finish(), 1);
    std::string seen;
    for (const char letter : {'D', 'I', 'W', 'E'}) {
      const std::string start = std::string(1, letter) + " libnuvrelwirelesslinkconfigservice.so: ";
      seen += wlc.Error().find(start) != std::string::npos ? std::string(1, letter) : "";
    }
    EXPECT_EQ(seen, letters) << level << "\n" << wlc.Error();
  }
}

TEST(RunnerSession, HelpFitsAScreenAndEndsInTwoExamples) {
  for (const char* subcommand : {"run", "driver", "explain"}) {
    Process wlc = Wlc({subcommand, "--help"});
    EXPECT_EQ(wlc.Finish(), 0);
    const Words lines = Lines(wlc.Out());
    ASSERT_GT(lines.size(), 3U);
    EXPECT_LE(lines.size(), 40U) << subcommand;
    EXPECT_EQ(lines[lines.size() - 3], "Examples:");
    EXPECT_THAT(lines[lines.size() - 2], HasSubstr("  wlc " + std::string(subcommand)));
    EXPECT_THAT(lines.back(), HasSubstr("  wlc " + std::string(subcommand)));
  }
}

TEST(RunnerSession, ColourOnATerminalOnly) {
  const std::string run = WLC_EMULATOR " " WLC_PROGRAM " run init";
  for (const auto& [command, coloured] :
       {std::pair(run, true), std::pair("NO_COLOR=1 " + run, false)}) {
    Process terminal({"script", "-qec", command, "/dev/null"});
    EXPECT_EQ(terminal.Finish(), 0);
    EXPECT_THAT(terminal.Out(), HasSubstr("The driver at the end"));
    EXPECT_EQ(terminal.Out().find('\033') != std::string::npos, coloured) << command;
  }
  Process pipe = Wlc({"run", "init"});
  EXPECT_EQ(pipe.Finish(), 0);
  EXPECT_EQ(pipe.Out().find('\033'), std::string::npos);
}

}  // namespace
