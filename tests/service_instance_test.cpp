// The one instance: handed out, counted, destroyed.
#include <cinttypes>

#include "tests/service_test_fixture.h"

namespace {

using InstanceTest = ServiceTest;

std::string Pointer(const void* pointer) {
  char text[32];
  std::snprintf(text, sizeof(text), "%pK", pointer);
  return text;
}

TEST_F(InstanceTest, IsSharedCountedAndDestroyedWithTheLastReference) {
  ServiceCreateParams params{&connection, nullptr};
  void* first = nullptr;
  void* second = nullptr;
  CreateWirelessLinkConfigService(&first, &params);
  const std::string at = Pointer(first);
  EXPECT_EQ(TakeLog(), Lines({"D [CreateWirelessLinkConfigService:#] >>", "D [Create:#] >>",
                              "D First Instance creation", "D Instance Ref count-0, p: " + at,
                              "D [Create:#] <<", "D [CreateWirelessLinkConfigService:#] <<"}));
  CreateWirelessLinkConfigService(&second, nullptr);  // not read any more
  EXPECT_EQ(first, second);
  EXPECT_EQ(TakeLog()[2], "D Instance Ref count-1, p: " + at);

  const std::string refusal =
      "E Invalid service object passed. Not WirelessLinkConfig service object !!";
  EXPECT_EQ(ReleaseWirelessLinkConfigService(nullptr), -1);
  EXPECT_EQ(TakeLog(), Lines({"D [ReleaseWirelessLinkConfigService:#] >>", "D [Release:#] >>",
                              "D Got ptr: " + Pointer(nullptr), refusal,
                              "D [ReleaseWirelessLinkConfigService:#] <<"}));
  EXPECT_EQ(ReleaseWirelessLinkConfigService(first), 0);
  EXPECT_EQ(TakeCalls(), Lines());
  TakeLog();
  EXPECT_EQ(WirelessLinkConfigService::Release(first), 0);
  EXPECT_EQ(TakeLog(), Lines({"D [Release:#] >>", "D Got ptr: " + at,
                              "D Last Reference, Delete Instance, p: " + at, "D [DeInit:#] <<",
                              "D [DeInit:#] <<", "D [Release:#] <<"}));
  EXPECT_EQ(TakeCalls(), Lines({"release handle", "release handle"}));

  EXPECT_EQ(WirelessLinkConfigService::Release(first), -1);
  EXPECT_EQ(TakeLog("E"), Lines({refusal}));
  EXPECT_EQ(WirelessLinkConfigService::Release(nullptr), 0);
  EXPECT_EQ(TakeLog(), Lines({"D [Release:#] >>", "D Got ptr: " + Pointer(nullptr),
                              "D No Instance exists", "D [Release:#] <<"}));
  void* next = WirelessLinkConfigService::Create(&params);
  EXPECT_EQ(TakeLog()[1], "D First Instance creation");
  EXPECT_EQ(WirelessLinkConfigService::Release(next), 0);
}

}  // namespace
