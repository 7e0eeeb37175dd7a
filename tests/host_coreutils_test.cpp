// The configuration object: its lookups, and what a file may hold.
#include <android/log.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "config/link_configuration.h"
#include "framework/log_level.h"
#include "host/coreutils/toml_config.h"
#include "host/refusal.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

const std::string kHeading = "[nuvrel.services.wirelesslinkconfig]\n";
std::string gLogged;  // the logger is the process's own, so must this be

class TomlConfigTest : public ::testing::Test {
 protected:
  ~TomlConfigTest() override { std::remove(mFile.c_str()); }
  const std::string& Write(const std::string& text) {
    std::ofstream(mFile, std::ios::binary) << text;
    return mFile;
  }
  // What a lookup of `key` finds as a `Value` and logs.
  template <typename Value>
  std::string Find(const std::string& key, Value value) {
    gLogged.clear();
    const int result = mConfig.getProperty(key, value);
    std::ostringstream found;
    found << result << " " << value << " " << gLogged;
    return found.str();
  }

  const std::string mFile = "/tmp/host_coreutils_test." + std::to_string(getpid()) + ".toml";
  host::TomlConfig mConfig;
};

TEST_F(TomlConfigTest, LookupsReadTheirOwnTableAndLogWhatTheyFound) {
  __android_log_set_logger([](const __android_logger_data* line, const char* message) {
    gLogged += std::to_string(line->priority) + " " + message;
  });
  const auto problems =
      mConfig.Load(Write("Mask = '0xAbÄ'\nctrlPath = '/Run'\nwide = 4294967298\nyes = true\n"
                         "high = 4294967296\ndate = 2020-01-01\n[a]\nb.c = 0\n"));
  ASSERT_THAT(problems, IsEmpty());
  const std::string text = "old";
  EXPECT_EQ(Find("mask", text), "0 0xabÄ ") << "the mask is clear";
  mConfig.SetLogMask(kNuvrelLogInfo);
  EXPECT_EQ(Find("MASK", text), "0 0xabÄ 4 getProperty - MASK(string): 0xabÄ\n");
  EXPECT_EQ(Find("CtrlPATH", text), "0 /Run 4 getProperty - CtrlPATH(string): /Run\n");
  EXPECT_EQ(Find("wide", 7), "0 2 4 getProperty - wide(int): 2\n");
  EXPECT_EQ(Find("Yes", 7), "0 1 4 getProperty - Yes(int): 1\n");
  EXPECT_EQ(Find("high", false), "0 1 4 getProperty - high(int): 1\n");
  EXPECT_EQ(Find("a.B.c", true), "0 0 4 getProperty - a.B.c(int): 0\n");
  EXPECT_EQ(Find("mask", 7), "-1 7 ") << "what is not found stays as it was";
  EXPECT_EQ(Find("mask", true), "-1 1 ");
  EXPECT_EQ(Find("wide", text), "-1 old ");
  EXPECT_EQ(Find("date", text), "-1 old ");
}

TEST_F(TomlConfigTest, WrongLineIsAProblemAndSetsNothing) {
  std::ifstream cases(HOST_CONFIG_REFUSALS);
  int refusals = 0;
  std::string text = kHeading;
  for (std::string line; std::getline(cases, line);) {
    if (line.starts_with("-> ")) {
      const auto problems = host::TomlConfig().Load(Write(text));
      ASSERT_THAT(problems, Not(IsEmpty())) << text;
      EXPECT_THAT(problems.front(), StartsWith(mFile + line.substr(3)));
      EXPECT_EQ(problems.front().find('\n'), std::string::npos) << problems.front();
      ++refusals;
      text = kHeading;
    } else if (!line.starts_with("#")) {
      text += line + "\n";
    }
  }
  EXPECT_GT(refusals, 0) << HOST_CONFIG_REFUSALS;
  const std::string key = std::string(kSettingPrefix) + "wlanEnableTsf";
  EXPECT_THAT(mConfig.Load(Write(kHeading + "wlanEnableTsf = 1\nwlanXRLatencyMode = 7")),
              ElementsAre(mFile + ":2: wlanEnableTsf: expected boolean, found integer"));
  EXPECT_EQ(mConfig.OriginOf(key), "");
  EXPECT_EQ(Find(std::string(kSettingPrefix) + "wlanXRLatencyMode", 2), "0 7 ");
}

TEST_F(TomlConfigTest, FileThatIsNoConfigurationIsRefused) {
  const std::string cases[][2] = {
      {Write("x = 1\n" + std::string(4093, 'a') + " = 1"),
       mFile + ":2: the line is longer than 4096 bytes"},
      {"/tmp", "/tmp: cannot be read: Is a directory"},
      {"/dev/zero", "/dev/zero:1: the line is longer"},
      {"/tmp/no-such-file", "/tmp/no-such-file: cannot be opened: No such file"}};
  for (const auto& [file, text] : cases) {
    EXPECT_THAT([&] { mConfig.Load(file); },
                testing::ThrowsMessage<host::Refusal>(StartsWith(text)));
  }
  EXPECT_THAT(mConfig.Load(Write("nuvrel.services = 1")),
              ElementsAre(HasSubstr(":1: services: expected table, found integer")));
}

TEST_F(TomlConfigTest, KeyHasOneValueAndItsOrigin) {
  mConfig.Set("A.Path", 1, "nowhere");
  mConfig.Set("a.path", "/Run", "--ctrl-dir");
  EXPECT_EQ(mConfig.OriginOf("A.path"), "--ctrl-dir");
  EXPECT_EQ(Find("a.path", 7), "-1 7 ");
}

}  // namespace
