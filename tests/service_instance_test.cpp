// The one instance: handed out, counted, destroyed.
#include "tests/service_rig.h"

namespace {

std::string Text(const char* format, const void* pointer) {
  char text[100];
  std::snprintf(text, sizeof(text), format, pointer);
  return text;
}

TEST(Instance, IsSharedCountedAndDestroyedWithTheLastReference) {
  using Lines = std::vector<std::string>;
  Rig rig;
  ServiceCreateParams params{&rig.connection, nullptr};
  void* first = nullptr;
  void* second = nullptr;
  CreateWirelessLinkConfigService(&first, &params);
  EXPECT_EQ(rig.platform.TakeRecord(),
            Lines({"D [CreateWirelessLinkConfigService:#] >>", "D [Create:#] >>",
                   "D First Instance creation", Text("D Instance Ref count-0, p: %pK", first),
                   "D [Create:#] <<", "D [CreateWirelessLinkConfigService:#] <<"}));
  CreateWirelessLinkConfigService(&second, nullptr);  // not read any more
  EXPECT_EQ(first, second);
  EXPECT_EQ(rig.platform.TakeRecord().at(2), Text("D Instance Ref count-1, p: %pK", first));

  const Lines refused = {
      "D [ReleaseWirelessLinkConfigService:#] >>", "D [Release:#] >>",
      Text("D Got ptr: %pK", &params),
      "E Invalid service object passed. Not WirelessLinkConfig service object !!",
      "D [ReleaseWirelessLinkConfigService:#] <<"};
  EXPECT_EQ(ReleaseWirelessLinkConfigService(&params), -1);
  EXPECT_EQ(rig.platform.TakeRecord(), refused);
  EXPECT_EQ(ReleaseWirelessLinkConfigService(nullptr), -1);
  EXPECT_EQ(ReleaseWirelessLinkConfigService(first), 0);
  rig.platform.TakeRecord();
  EXPECT_EQ(WirelessLinkConfigService::Release(first), 0);
  EXPECT_EQ(rig.platform.TakeRecord(),
            Lines({"D [Release:#] >>", Text("D Got ptr: %pK", first),
                   Text("D Last Reference, Delete Instance, p: %pK", first), "-> release handle",
                   "D [DeInit:#] <<", "-> release handle", "D [DeInit:#] <<", "D [Release:#] <<"}));

  EXPECT_EQ(WirelessLinkConfigService::Release(first), -1);
  rig.platform.TakeRecord();
  EXPECT_EQ(WirelessLinkConfigService::Release(nullptr), 0);
  EXPECT_EQ(rig.platform.TakeRecord(), Lines({"D [Release:#] >>", Text("D Got ptr: %pK", nullptr),
                                              "D No Instance exists", "D [Release:#] <<"}));
  void* next = WirelessLinkConfigService::Create(&params);
  EXPECT_EQ(rig.platform.TakeRecord().at(1), "D First Instance creation");
  EXPECT_EQ(WirelessLinkConfigService::Release(next), 0);
}

}  // namespace
