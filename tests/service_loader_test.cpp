// The library loader, and the service with a client library that is broken or lacks a function.
// NO_FACTORY_DIR and NO_RELEASE_DIR hold such libraries under the client library's own name.
#include <dlfcn.h>
#include <gmock/gmock.h>

#include "tests/service_rig.h"

namespace {

const std::string kNoFactory = std::string(NO_FACTORY_DIR) + "/" + kClientLibrary;
const std::string kNoRelease = std::string(NO_RELEASE_DIR) + "/" + kClientLibrary;

bool IsMapped(const std::string& library) {
  void* handle = dlopen(library.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  return handle != nullptr && dlclose(handle) == 0;
}

struct Loader : testing::Test, Rig {
  // Compares the lines logged, without the calls between them.
  void ExpectLog(const std::vector<std::string>& patterns) {
    std::vector<std::string> log = platform.TakeRecord();
    std::erase_if(log, [](const std::string& line) { return line[0] == '-'; });
    ASSERT_EQ(log.size(), patterns.size()) << testing::PrintToString(log);
    for (size_t i = 0; i < log.size(); ++i) {
      EXPECT_THAT(log[i], testing::MatchesRegex(patterns[i]));
    }
  }
};

TEST_F(Loader, CountsOpensOfOneLibraryAndClosesItWithTheLast) {
  LoaderUnderTest loader;
  loader.CloseLibHandle(kNoFactory);
  void* handle = loader.OpenLib(kNoFactory);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(loader.OpenLib(kNoFactory), handle);
  platform.TakeRecord();
  EXPECT_EQ(loader.GetLibFunction(kNoFactory, "CreateServiceClient"), nullptr);
  ExpectLog({"D- .GetLibFunction:#. >>", "I- Already Open lib - " + kNoFactory,
             "D- " + kNoFactory + ": dlopen success",
             "E- .GetLibFunction. Failed to find symbol " + kNoFactory +
                 " .*undefined symbol: CreateServiceClient\n",
             "D- .GetLibFunction:#. <<"});
  EXPECT_EQ(loader.mRefCounts[kNoFactory], 3);
  for (const int left : {2, 1, 0}) {
    EXPECT_TRUE(IsMapped(kNoFactory));
    loader.CloseLibHandle(kNoFactory);
    EXPECT_EQ(loader.mRefCounts.size(), left > 0 ? 1U : 0U);
  }
  EXPECT_TRUE(loader.mHandles.empty());
  EXPECT_FALSE(IsMapped(kNoFactory));
}

// The client library in this program's search path is an empty file; one that is loaded already
// under that name comes before it. All in one test, since a library that gave a client stays.
TEST_F(Loader, ServiceCopesWithEachLackOfItsClientLibrary) {
  const std::string noFunction =
      "E Could not find the client creation function in nuvrel service client library";
  gNuvrelLogLevel = kNuvrelLogError;
  EXPECT_EQ(Send(NUVREL_WLC_CMD_INIT), -1);
  ExpectLog(
      {std::string("E- GetLibFunction.. Failed to open ") + kClientLibrary + " /.*file too short",
       noFunction});

  void* lacking = dlopen(kNoFactory.c_str(), RTLD_LAZY);
  EXPECT_EQ(Send(NUVREL_WLC_CMD_INIT), -1);
  ExpectLog({"E- .GetLibFunction. Failed to find symbol .*\n", noFunction});
  mLibLoader.CloseLibHandle(kClientLibrary);  // the open that a failure leaves
  dlclose(lacking);
  ASSERT_FALSE(IsMapped(kClientLibrary));

  lacking = dlopen(kNoRelease.c_str(), RTLD_LAZY);
  EXPECT_EQ(Send(NUVREL_WLC_CMD_INIT), 0);
  dlclose(lacking);
  EXPECT_TRUE(IsMapped(kClientLibrary));  // for as long as the client lives
  platform.TakeRecord();
  EXPECT_EQ(Send(NUVREL_WLC_CMD_DEINIT), 0);
  EXPECT_EQ(platform.record.back(), "-> delete client");
  ExpectLog({"E- .GetLibFunction. Failed to find symbol .*\n",
             "E Could not find the client release function in nuvrel service client library, "
             "calling delete"});
}

}  // namespace
