// The library loader, and the service with a client library that is missing or lacks a function.
// NO_FACTORY_DIR and NO_RELEASE_DIR hold such libraries under the client library's own name.
#include <dlfcn.h>

#include "tests/service_test_fixture.h"

namespace {

using LoaderTest = ServiceTest;

const std::string kNoFactory = std::string(NO_FACTORY_DIR) + "/" + kClientLibrary;
const std::string kNoRelease = std::string(NO_RELEASE_DIR) + "/" + kClientLibrary;

bool IsMapped(const std::string& library) {
  void* handle = dlopen(library.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  return handle != nullptr && dlclose(handle) == 0;
}

TEST_F(LoaderTest, CountsOpensOfOneLibraryAndClosesItWithTheLast) {
  LoaderUnderTest loader;
  loader.CloseLibHandle(kNoFactory);
  EXPECT_EQ(TakeLog(), Lines({"D- [CloseLibHandle:#] >>", "D- [CloseLibHandle:#] <<"}));
  void* handle = loader.OpenLib(kNoFactory);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(TakeLog(), Lines());
  EXPECT_EQ(loader.OpenLib(kNoFactory), handle);
  EXPECT_EQ(TakeLog(), Lines({"I- Already Open lib - " + kNoFactory}));
  EXPECT_NE(loader.GetLibFunction(kNoFactory, "ReleaseServiceClient"), nullptr);
  TakeLog();

  EXPECT_EQ(loader.GetLibFunction(kNoFactory, "CreateServiceClient"), nullptr);
  const Lines log = TakeLog();
  const std::string noSymbol = "E- [GetLibFunction] Failed to find symbol " + kNoFactory + " ";
  EXPECT_EQ(log.at(3).substr(0, noSymbol.size()), noSymbol);
  EXPECT_NE(log[3].find("undefined symbol: CreateServiceClient\n"), std::string::npos);
  EXPECT_EQ(log.at(4), "D- [GetLibFunction:#] <<");

  EXPECT_EQ(loader.mRefCounts[kNoFactory], 4);
  for (int left = 3; left >= 0; --left) {
    EXPECT_TRUE(IsMapped(kNoFactory));
    loader.CloseLibHandle(kNoFactory);
    EXPECT_EQ(loader.mRefCounts.count(kNoFactory), left > 0 ? 1 : 0);
  }
  EXPECT_TRUE(loader.mHandles.empty());
  EXPECT_FALSE(IsMapped(kNoFactory));
}

// The client library in this program's search path is an empty file; one that is loaded already
// under that name comes before it. All in one test, since a library that gave a client stays for
// good.
TEST_F(LoaderTest, ServiceCopesWithEachLackOfItsClientLibrary) {
  const std::string noFunction =
      "E Could not find the client creation function in nuvrel service client library";
  EXPECT_EQ(Send(kInit), -1);
  Lines log = TakeLog("WE");
  const std::string notOpened =
      std::string("E- GetLibFunction() Failed to open ") + kClientLibrary + " /";
  EXPECT_EQ(log.at(0).substr(0, notOpened.size()), notOpened);
  EXPECT_NE(log[0].find("file too short"), std::string::npos);
  EXPECT_EQ(log.at(1), noFunction);
  EXPECT_EQ(State(), " opens:0");

  void* lacking = dlopen(kNoFactory.c_str(), RTLD_LAZY);
  ASSERT_NE(lacking, nullptr);
  EXPECT_EQ(Send(kInit), -1);
  EXPECT_EQ(TakeLog("WE").at(1), noFunction);
  EXPECT_EQ(State(), " opens:1");
  service.mLibLoader.CloseLibHandle(kClientLibrary);
  dlclose(lacking);
  ASSERT_FALSE(IsMapped(kClientLibrary));

  lacking = dlopen(kNoRelease.c_str(), RTLD_LAZY);
  EXPECT_EQ(Send(kInit), 0);
  dlclose(lacking);
  EXPECT_EQ(State(), "client handle config ready wlan0 opens:0");
  EXPECT_TRUE(IsMapped(kClientLibrary));  // for as long as the client exists
  TakeCalls();
  TakeLog();
  EXPECT_EQ(Send(kDeInit), 0);
  EXPECT_EQ(TakeCalls(), Lines({"release handle", "delete client"}));
  log = TakeLog("E");
  EXPECT_EQ(log.at(1),
            "E Could not find the client release function in nuvrel service client library, "
            "calling delete");
}

}  // namespace
