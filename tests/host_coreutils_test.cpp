// The configuration object's lookups. What a file may hold is in runner_transcripts/explain.txt.
#include <android/log.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "framework/log_level.h"
#include "host/coreutils/toml_config.h"

namespace {

std::string gLogged;  // the logger is the process's own, so must this be

// What a lookup of `key` finds as a `Value`, and logs.
template <typename Value>
std::string Find(TomlConfig& config, const std::string& key, Value value) {
  gLogged.clear();
  const int result = config.getProperty(key, value);
  std::ostringstream found;
  found << result << " " << value << " " << gLogged;
  return found.str();
}

TEST(TomlConfig, LookupsReadTheirOwnTableAndLogWhatTheyFound) {
  __android_log_set_logger([](const __android_logger_data* line, const char* message) {
    gLogged += std::to_string(line->priority) + " " + message;
  });
  const auto file =
      std::filesystem::temp_directory_path() / ("host_coreutils_test." + std::to_string(getpid()));
  std::ofstream(file) << "Mask = '0xAbÄ'\nctrlPath = '/Run'\nwide = 4294967298\nyes = true\n"
                         "high = 4294967296\ndate = 2020-01-01\n[a]\nb.c = 0\n";
  TomlConfig config;
  EXPECT_THAT(config.Load(file), testing::IsEmpty());
  std::filesystem::remove(file);
  config.Set("One.Path", 1, "nowhere");
  config.Set("one.path", "/Run", "--ctrl-dir");
  const std::string text = "old";
  EXPECT_EQ(Find(config, "mask", text), "0 0xabÄ ") << "the log's mask is clear";
  config.SetLogMask(kNuvrelLogInfo);
  EXPECT_EQ(Find(config, "MASK", text), "0 0xabÄ 4 getProperty - MASK(string): 0xabÄ\n");
  EXPECT_EQ(Find(config, "CtrlPATH", text), "0 /Run 4 getProperty - CtrlPATH(string): /Run\n");
  EXPECT_EQ(Find(config, "wide", 7), "0 2 4 getProperty - wide(int): 2\n");
  EXPECT_EQ(Find(config, "Yes", 7), "0 1 4 getProperty - Yes(int): 1\n");
  EXPECT_EQ(Find(config, "high", false), "0 1 4 getProperty - high(int): 1\n");
  EXPECT_EQ(Find(config, "a.B.c", true), "0 0 4 getProperty - a.B.c(int): 0\n");
  EXPECT_EQ(Find(config, "mask", 7), "-1 7 ") << "what is not found stays as it was";
  EXPECT_EQ(Find(config, "mask", true), "-1 1 ");
  EXPECT_EQ(Find(config, "wide", text), "-1 old ");
  EXPECT_EQ(Find(config, "date", text), "-1 old ");
  EXPECT_EQ(Find(config, "one.path", 7), "-1 7 ") << "a key has one value, and its origin";
  EXPECT_EQ(config.OriginOf("One.path"), "--ctrl-dir");
}

}  // namespace
