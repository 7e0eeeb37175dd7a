// Settings, the commands that carry them, and the sysfs node.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/service_test_fixture.h"

namespace {

using LinkSettingsTest = ServiceTest;

const std::string kKeys = "nuvrel.services.wirelesslinkconfig.";

std::string Summary(const std::string& path, const std::string& settings) {
  return "I WirelessLinkConfigService configurations\n\tInterfaceName: wlan0" +
         std::string(20, ' ') + "\n\tWPA control interface path: " + path + settings;
}

TEST_F(LinkSettingsTest, SettingsComeFromTheParserOrHoldTheirDefaults) {
  const std::string blanks(20, ' ');
  EXPECT_EQ(Send(kInit), 0);
  EXPECT_EQ(TakeLog("I"),
            Lines({Summary("/wlan0", "\n\tXR Latency mode: 2\n\tNormal Latency mode: 1" + blanks +
                                         "\n\tEnable TSF: false\n\tTSF Sync interval: 3000\n\t"
                                         "SET Ratemask: 0x003FC0FF" +
                                         blanks +
                                         "\n\tOriginal Ratemask: 0xFFFFFFFF\n\tDisable RRA: "
                                         "false\n\tWlan unit test target node: ")}));
  parser.mStrings = {{kKeys + "wpaifpath", "/Run/"},
                     {kKeys + "wlansetratemask", "0xAB"},
                     {kKeys + "wlanoriginalratemask", "0xCD"},
                     {kKeys + "wlanunittesttargetnode", "/Sys"},
                     {kKeys + "wlanenabletsf", "false"}};
  parser.mIntegers = {{kKeys + "wlanxrlatencymode", (int64_t{1} << 32) + 5},
                      {kKeys + "wlannormallatencymode", -6},
                      {kKeys + "wlanenabletsf", 2},
                      {kKeys + "wlantsfsyncinterval", 7},
                      {kKeys + "disablerra", 1}};
  service.LoadConfig();
  const std::string given =
      Summary("/Run//wlan0",
              "\n\tXR Latency mode: 5\n\tNormal Latency mode: -6" + blanks +
                  "\n\tEnable TSF: true\n\tTSF Sync interval: 7\n\tSET Ratemask: 0xab" + blanks +
                  "\n\tOriginal Ratemask: 0xcd\n\tDisable RRA: true\n\tWlan unit test "
                  "target node: /sys");
  EXPECT_EQ(TakeLog(), Lines({given}));
  parser.mStrings.clear();
  parser.mIntegers.clear();
  service.LoadConfig();  // over a record that exists: its values stand
  EXPECT_EQ(TakeLog(), Lines({given}));
}

TEST_F(LinkSettingsTest, WithoutAParserThereAreNoSettings) {
  ServiceUnderTest bare(nullptr, nullptr);
  bare.mWpaCtrlPath = "/before";
  bare.mLinkConfig = std::make_unique<LinkConfiguration>();
  NuvrelPkt_t init = Request(kInit, &connection);
  EXPECT_EQ(bare.OnPacket(&init), 0);
  EXPECT_EQ(TakeLog("IWE"), Lines({"E WirelessLingConfig service config parser is invalid."}));
  EXPECT_EQ(bare.mLinkConfig, nullptr);
  EXPECT_EQ(TakeCalls().back(), "open /before");
  EXPECT_EQ(bare.ApplyLinkSettings(), -1);
  EXPECT_EQ(bare.RevertLinkSettings(), -1);
  EXPECT_EQ(TakeLog(),
            Lines({"W [ApplyLinkSettings:#] Failed, Link Configuration is not available",
                   "W [RevertLinkSettings:#] Failed, Link Configuration is not available"}));
  EXPECT_EQ(TakeCalls(), Lines());
}

const std::string kLatency = "DRIVER SET_LATENCY_MODE ";
const std::string kTsf = "DRIVER TSF_CONFIG TSF_SYNC_";
const std::string kMask = "DRIVER SET_TX_RATEMASK PHYMODE 3 RATEMASK ";
const std::string kUnable = "Unable to execute wpa driver command to ";

TEST_F(LinkSettingsTest, EachCommandIsSentWhateverBecameOfTheOthers) {
  const std::string apply = "W [ApplyWpaCliLinkConfiguration:#] ";
  const std::string revert = "W [RevertWpaCliLinkConfiguration:#] ";
  const std::string notApplied =
      "W [ApplyLinkSettings:#] Failed to apply all wpa_client configurations";
  const std::string notReverted =
      "W [RevertLinkSettings:#] Failed to revert all wpa_client configurations";
  const struct {
    uint8_t command;
    std::map<std::string, int64_t> settings;
    std::string refuse;
    Lines sent;
    Lines log;
  } cases[] = {
      {kApply, {}, "", {kLatency + "2", kMask + "0x003FC0FF"}, {}},
      {kRevert, {}, "", {kLatency + "1", kMask + "0xFFFFFFFF"}, {}},
      {kApply,
       {{"wlanxrlatencymode", -1}, {"wlanenabletsf", 1}, {"wlantsfsyncinterval", -2}},
       "",
       {kLatency + "4294967295", kTsf + "START 4294967294", kMask + "0x003FC0FF"},
       {}},
      {kRevert,
       {{"wlannormallatencymode", -1}, {"wlanenabletsf", 1}, {"disablerra", 1}},
       "",
       {kLatency + "4294967295", kTsf + "STOP", kMask + "0xFFFFFFFF"},
       {}},
      {kApply,
       {{"wlanenabletsf", 1}, {"disablerra", 1}},
       "LATENCY",
       {kLatency + "2", kTsf + "START 3000", kMask + "0x003FC0FF"},
       {apply + kUnable + "set xr latency mode.", notApplied,
        "W [ApplySysfsLinkConfiguration:#] Unit test target node is empty",
        "W [ApplyLinkSettings:#] Failed to apply all sysfs interface based link configurations"}},
      {kApply,
       {{"wlanenabletsf", 1}},
       "TSF",
       {kLatency + "2", kTsf + "START 3000", kMask + "0x003FC0FF"},
       {apply + kUnable + "start tsf.", notApplied}},
      {kApply,
       {},
       "MASK",
       {kLatency + "2", kMask + "0x003FC0FF"},
       {apply + kUnable + "set xr mode ratemask.", notApplied}},
      {kRevert,
       {{"wlanenabletsf", 1}},
       "DRIVER",
       {kLatency + "1", kTsf + "STOP", kMask + "0xFFFFFFFF"},
       {revert + kUnable + "set normal latency mode.", revert + kUnable + "stop tsf.",
        revert + kUnable + "set all rate mask.", notReverted}},
      {kApply, {}, "no handle", {}, {apply + "Wpa Client Handle is NULL", notApplied}},
      {kRevert, {}, "no handle", {}, {revert + "Wpa Client Handle is NULL", notReverted}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(testing::PrintToString(test.command) + " refusing " + test.refuse);
    Rig rig;
    for (const auto& [key, value] : test.settings) {
      rig.parser.mIntegers[kKeys + key] = value;
    }
    rig.platform.hasHandle = test.refuse != "no handle";
    rig.platform.refuse = test.refuse;
    rig.Send(kInit);
    rig.TakeCalls();
    TakeLog();
    EXPECT_EQ(rig.Send(test.command), test.log.empty() ? 0 : -1);
    EXPECT_EQ(rig.TakeCalls(), test.sent);
    EXPECT_EQ(TakeLog("IWE"), test.log);
  }
}

TEST_F(LinkSettingsTest, OneReplyTextServesOneOperationAndNoOther) {
  GetReady();
  service.mCmdReply = "a policy's";
  for (const Command command : {kApply, kRevert}) {
    platform.earlierTexts.clear();
    EXPECT_EQ(Send(command), 0);
    EXPECT_EQ(platform.earlierTexts, Lines({"", "OK"}));
  }
  EXPECT_EQ(service.mCmdReply, "a policy's");
}

TEST_F(LinkSettingsTest, CommandIsCutAt511CharactersAndTheBufferHoldsNothingElse) {
  GetReady();
  for (const size_t length : {511, 512, 600}) {
    service.mLinkConfig->wlanSetRatemask = std::string(length - kMask.size(), 'f');
    EXPECT_EQ(Send(kApply), 0);
    EXPECT_EQ(TakeCalls().back(), kMask + std::string(511 - kMask.size(), 'f'));
  }
  EXPECT_EQ(Send(kRevert), 0);
  std::string buffer = kMask + "0xFFFFFFFF";
  buffer.resize(sizeof(service.mCmdBuf));
  EXPECT_EQ(std::string(service.mCmdBuf, sizeof(service.mCmdBuf)), buffer);
}

int LowestFreeDescriptor() {
  const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(descriptor);
  return descriptor;
}

TEST_F(LinkSettingsTest, SysfsNodeGetsThreeValuesOrTheStepStops) {
  const std::string here = "[ApplySysfsLinkConfiguration:#] ";
  const std::string wrote = "I " + here + ": set unit test target values = ";
  const std::string failed = "W " + here + "error writing sysfs node ";
  const std::string values[] = {"10 2 42 0", "10 3 47 0 0", "10 3 47 1 0"};
  const Lines allWrote = {wrote + values[0], wrote + values[1], wrote + values[2]};
  const std::string old(40, 'x');
  const auto over = [&old](const std::string& text) { return text + old.substr(text.size()); };
  const struct {
    std::string node;  // what stands at the node's place
    bool enabled, hasDirectory, hasName;
    size_t failingWrite;
    int error;
    size_t writeLimit;
    int result;
    Lines log;
    std::string content, last;
  } cases[] = {
      {"file", false, false, false, 0, 0, 99, 0, {}, old, ""},
      {"file",
       true,
       false,
       false,
       0,
       0,
       99,
       -1,
       {"W " + here + "Unit test target node is empty"},
       old,
       ""},
      {"file",
       true,
       true,
       false,
       0,
       0,
       99,
       -1,
       {"W " + here + "WLAN interface not specified"},
       old,
       ""},
      {"file", true, true, true, 0, 0, 99, 0, allWrote, over(values[0] + values[1] + values[2]),
       values[2]},
      {"file", true, true, true, 0, 0, 3, 0, allWrote, over("10 10 10 "), values[2]},
      {"file",
       true,
       true,
       true,
       2,
       EAGAIN,
       99,
       -11,
       {wrote + values[0], failed + "Resource temporarily unavailable with " + values[1],
        "W " + here + "Failed reading Timer"},
       over(values[0]),
       values[1]},
      {"file",
       true,
       true,
       true,
       3,
       EIO,
       99,
       -9,
       {wrote + values[0], wrote + values[1], failed + "Input/output error with " + values[2]},
       over(values[0] + values[1]),
       values[2]},
      {"full",
       true,
       true,
       true,
       0,
       0,
       99,
       -9,
       {failed + "No space left on device with " + values[0]},
       "",
       values[0]},
      {"fifo", true, true, true, 0, 0, 99, -9, {"W " + here + "Failed to seek"}, "", ""},
      {"none", true, true, true, 0, 0, 99, -9, {"W " + here + "bad fd"}, "", ""},
  };
  std::string directory = testing::TempDir() + "wlc_sysfs_XXXXXX";
  ASSERT_NE(mkdtemp(directory.data()), nullptr);
  const std::string node = directory + "/wlan0/unit_test_target";
  std::filesystem::create_directory(directory + "/wlan0");
  for (const auto& test : cases) {
    SCOPED_TRACE(test.node + testing::PrintToString(test.log));
    Rig rig;
    std::filesystem::remove(node);
    int reader = -1;
    if (test.node == "file") {
      std::ofstream(node) << old;
    } else if (test.node == "full") {
      std::filesystem::create_symlink("/dev/full", node);
    } else if (test.node == "fifo") {
      mkfifo(node.c_str(), S_IRUSR | S_IWUSR);
      reader = open(node.c_str(), O_RDWR | O_CLOEXEC);
    }
    rig.service.mInterfaceName = test.hasName ? "wlan0" : "";
    rig.service.mLinkConfig = std::make_unique<LinkConfiguration>();
    rig.service.mLinkConfig->disableRRA = test.enabled;
    rig.service.mLinkConfig->wlanUnitTestTargetNode = test.hasDirectory ? directory : "";
    rig.platform.failingWrite = test.failingWrite;
    rig.platform.writeError = test.error;
    rig.platform.writeLimit = test.writeLimit;
    const int descriptor = LowestFreeDescriptor();
    EXPECT_EQ(rig.service.ApplySysfsLinkConfiguration(), test.result);
    EXPECT_EQ(LowestFreeDescriptor(), descriptor);
    EXPECT_EQ(TakeLog(), test.log);
    EXPECT_EQ(rig.service.mUnitTestTargetValue, test.last);
    if (test.node == "file") {
      std::ifstream content(node);
      EXPECT_EQ(std::string(std::istreambuf_iterator<char>(content), {}), test.content);
    }
    EXPECT_EQ(std::filesystem::exists(node), test.node != "none");
    EXPECT_EQ(rig.service.RevertSysfsLinkConfiguration(), 0);
    close(reader);
  }
  std::filesystem::remove_all(directory);
}

}  // namespace
