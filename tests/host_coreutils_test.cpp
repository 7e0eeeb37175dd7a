// The configuration object: its lookups, and what a file may hold.
#include <android/log.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "framework/log_level.h"
#include "host/coreutils/settings.h"
#include "host/coreutils/toml_config.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::vector<std::string> gLines;  // the logger is the process's own, so must this be

class TomlConfigTest : public ::testing::Test {
 protected:
  TomlConfigTest() {
    gLines.clear();
    __android_log_set_logger([](const __android_logger_data* line, const char* message) {
      gLines.push_back(std::to_string(line->priority) + " " + message);
    });
  }
  ~TomlConfigTest() override {
    __android_log_set_logger(__android_log_stderr_logger);
    std::remove(mFile.c_str());
  }
  const std::string& Write(const std::string& text) {
    std::ofstream(mFile, std::ios::binary) << text;
    return mFile;
  }
  // `text` below the heading of the service's table.
  const std::string& WriteService(const std::string& text) {
    return Write("[nuvrel.services.wirelesslinkconfig]\n" + text);
  }

  const std::string mFile = "/tmp/host_coreutils_test." + std::to_string(getpid()) + ".toml";
  host::TomlConfig mConfig;
};

TEST_F(TomlConfigTest, LookupsReadTheirOwnTableAndLogWhatTheyFound) {
  ASSERT_FALSE(
      mConfig.Load(Write("Mask = '0xAbÄ'\nctrlPath = '/Run'\nwide = 4294967298\n"
                         "minus = -1\nyes = true\nhigh = 4294967296\ndate = 2020-01-01\n"
                         "[a]\nb.c = 0\n")));
  std::string text = "old";
  int32_t number = 7;
  bool truth = false;
  EXPECT_EQ(mConfig.getProperty("mask", text), 0);
  EXPECT_TRUE(gLines.empty()) << "the mask is clear";
  mConfig.SetLogMask(kNuvrelLogInfo);
  EXPECT_EQ(mConfig.getProperty("MASK", text), 0);
  EXPECT_EQ(mConfig.getProperty("CtrlPATH", text), 0);
  for (const char* key : {"wide", "Minus", "yes", "a.B.c"}) {
    EXPECT_EQ(mConfig.getProperty(key, number), 0) << key;
  }
  EXPECT_EQ(mConfig.getProperty("high", truth), 0);
  EXPECT_EQ(mConfig.getProperty("a.b.c", truth), 0);
  const std::vector<std::string> found = gLines;
  EXPECT_THAT(found,
              ElementsAre("4 getProperty - MASK(string): 0xabÄ\n",
                          "4 getProperty - CtrlPATH(string): /Run\n",
                          "4 getProperty - wide(int): 2\n", "4 getProperty - Minus(int): -1\n",
                          "4 getProperty - yes(int): 1\n", "4 getProperty - a.B.c(int): 0\n",
                          "4 getProperty - high(int): 1\n", "4 getProperty - a.b.c(int): 0\n"));
  EXPECT_EQ(mConfig.getProperty("mask", number), -1);
  EXPECT_EQ(mConfig.getProperty("mask", truth), -1);
  EXPECT_EQ(mConfig.getProperty("wide", text), -1);
  EXPECT_EQ(mConfig.getProperty("date", text), -1);
  EXPECT_EQ(gLines, found);
  EXPECT_EQ(text + std::to_string(number), "/Run0") << "what is not found stays as it was";
}

TEST_F(TomlConfigTest, WrongFileGivesOneLineAndLoadsNothing) {
  const struct {
    const char* text;
    const char* problem;  // behind the file's name
  } cases[] = {
      {"wlanEnableTsf = true\nwlanXRLatencyMode = '2'",
       ":3: wlanXRLatencyMode: expected an integer, found a string"},
      {"wlanEnableTsf = 1", ":2: wlanEnableTsf: expected a boolean, found an integer"},
      {"wlansetratemask = 0x3F", ":2: wlansetratemask: expected a string, found an integer"},
      {"wpaifPath = ['/run']", ":2: wpaifPath: expected a string, found an array"},
      {"wlanTsfSyncInterval = 2.0",
       ":2: wlanTsfSyncInterval: expected an integer, found a floating-point number"},
      {"wlanTsfSyncInterval = 2147483648",
       ":2: wlanTsfSyncInterval: 2147483648 is out of range, -2147483648 to 2147483647"},
      {"wlanXRLatencyMod = 2", ":2: wlanXRLatencyMod: not a setting of the service"},
      {R"("two\nlines" = 2)", ":2: two?lines: not a setting of the service"},
      {"[nuvrel.services.wirelesslinkconfig.disableRRA]\nx = 1",
       ":2: disableRRA: expected a boolean, found a table"},
      {"disableRRA = true\ndisablerra = true",
       ":3: disablerra: line 2 sets the same key; case is ignored"},
      {"wlanXRLatencyMode = \n", ":2: "},
      {"wlanXRLatencyMode = 1\nwlanXRLatencyMode = 2\n", ":3: "},
  };
  for (const auto& [text, problem] : cases) {
    const auto found = mConfig.Load(WriteService(text));
    ASSERT_TRUE(found) << text;
    EXPECT_THAT(found->message, ::testing::StartsWith(mFile + problem));
    EXPECT_EQ(found->message.find('\n'), std::string::npos) << found->message;
    for (const host::Setting& setting : host::kSettings) {
      EXPECT_EQ(mConfig.OriginOf(host::SettingKey(setting.name)), "") << text;
    }
  }
}

TEST_F(TomlConfigTest, FileThatIsNoConfigurationIsRefused) {
  EXPECT_EQ(mConfig.Load("/nowhere.toml")->message,
            "/nowhere.toml: cannot be opened: No such file or directory");
  EXPECT_EQ(mConfig.Load("/tmp")->message, "/tmp: cannot be read: Is a directory");
  EXPECT_THAT(mConfig.Load("/dev/zero")->message, HasSubstr("larger than 1 MiB"));
  std::string deep = "x = 1\na";
  for (int depth = 0; depth < 100000; ++depth) {
    deep += ".a";
  }
  EXPECT_EQ(mConfig.Load(Write(deep + " = 1"))->message,
            mFile + ":2: the line is longer than 4096 bytes");
  EXPECT_THAT(mConfig.Load(Write("nuvrel.services = 1"))->message,
              HasSubstr(":1: services: expected a table, found an integer"));
}

TEST_F(TomlConfigTest, RightPartOfAWrongFileKeepsItsOrigins) {
  mConfig.SetInteger("Nuvrel.Services.Wirelesslinkconfig.wpaifPath", 1, "nowhere");
  const auto problems = mConfig.LoadWhatIsRight(
      WriteService("zzz = 1\nwlanXRLatencyMode = 5\nwpaifPath = 3\naaa = 1\n"));
  mConfig.SetText(host::SettingKey("wpaifPath"), "/Run", "--ctrl-dir");
  std::string lines;
  for (const auto& problem : problems) {
    lines += std::to_string(problem.line) + " ";
  }
  EXPECT_EQ(lines, "2 4 5 ");
  EXPECT_EQ(mConfig.OriginOf(host::SettingKey("wlanXRLatencyMode")), mFile + ":3");
  EXPECT_EQ(mConfig.OriginOf(host::SettingKey("wpaifPath")), "--ctrl-dir");
  EXPECT_EQ(mConfig.OriginOf(host::SettingKey("disableRRA")), "");
  int32_t number = 0;
  EXPECT_EQ(mConfig.getProperty(host::SettingKey("wpaifPath"), number), -1) << "it is text now";
}

}  // namespace
