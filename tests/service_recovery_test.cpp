// The shipped library as the framework loads it: what it shows, that it goes when it is released,
// and how it does on its real platform libraries while the supplicant dies and comes back: every
// packet is answered, no descriptor is left open, and the service works again. SERVICE_LIBRARY is
// its path, NM the tool that lists its symbols.
#include <dlfcn.h>

#include <cstring>
#include <set>

#include "framework/log_level.h"
#include "tests/emulated_driver_fixture.h"
#include "wlc/service_host.h"
#include "wlc/steps.h"
#include "wlc/toml_config.h"

namespace {

const std::vector<Step> kSession = ParseSteps(kBuiltInSession);

using Recovery = EmulatedDriverTest;

TEST_F(Recovery, SupplicantDiesBetweenAnyTwoCommands) {
  gNuvrelLogLevel = 0;
  TomlConfig config;
  config.Set("nuvrel.services.wirelesslinkconfig.wpaifPath", mDirectory, "the test");
  SetDiscovery("wlan0", "10.0.0.1", "10.0.0.2");
  std::optional<ServiceHost> service(std::in_place, SERVICE_LIBRARY, config);
  const auto send = [&](const Step& step) { return service->Send(step.command.Packet()).value(); };
  const auto expectWholeSession = [&] {
    StartDriver();
    send(kSession.back());  // deinit
    for (const Step& step : kSession) {
      EXPECT_EQ(send(step), 0) << step.command.Text();
    }
  };
  expectWholeSession();
  const long descriptors = OpenDescriptors();
  for (size_t alive = 0; alive < kSession.size(); ++alive) {
    for (size_t i = 0; i < kSession.size(); ++i) {
      if (i == alive) {
        mDriver->Stop();
      }
      const std::string_view command = kSession[i].command.form->name;
      const bool nothingToSend =
          command == "deinit" || (command == "clear-lapb-policies" && (alive == 2 || alive == 3));
      EXPECT_EQ(send(kSession[i]), i < alive || nothingToSend ? 0 : -1)
          << "died before " << alive << ", at " << i;
    }
    expectWholeSession();
    EXPECT_EQ(OpenDescriptors(), descriptors) << "died before " << alive;
  }
  service.reset();
  EXPECT_EQ(dlopen(SERVICE_LIBRARY, RTLD_LAZY | RTLD_NOLOAD), nullptr);
}

// The framework calls by slot: what stands in each, in order.
TEST(ServiceLibrary, SlotsStandInTheirOrder) {
  const auto slots = SplitWords(
      "D1Ev D0Ev 8OnPacketEP11NuvrelPkt_t 16OnConnectionLostEv 4InitEP9NuvrelPkt 6DeInitEv "
      "9Reserved0Ev 9Reserved1Ev");
  void* library = dlopen(SERVICE_LIBRARY, RTLD_NOW);
  void** const table = static_cast<void**>(dlsym(library, "_ZTV25WirelessLinkConfigService")) + 2;
  for (size_t i = 0; i < slots.size(); ++i) {
    const std::string name = "_ZN25WirelessLinkConfigService" + std::string(slots[i]);
    EXPECT_EQ(table[i], dlsym(library, name.c_str())) << name;
  }
}

// A symbol of kind u would keep the library loaded for good.
TEST(ServiceLibrary, ShowsTheEntryPointsAndTheClassAndNothingElse) {
  const std::string name = "WirelessLinkConfigService";
  const std::string ours =
      "(Create|Release)" + name + "|((vtable|typeinfo|typeinfo name) for )?" + name + "(::.*)?";
  std::set<std::string> shown;
  const std::unique_ptr<FILE, int (*)(FILE*)> nm(
      popen(NM " -DC --defined-only " SERVICE_LIBRARY, "r"), pclose);
  char line[4096];
  while (fgets(line, sizeof(line), nm.get()) != nullptr) {
    const std::string text(line, std::strlen(line) - 1);
    const size_t kind = text.find(' ') + 1;
    EXPECT_NE(text[kind], 'u') << text;
    shown.insert(text.substr(kind + 2));
  }
  EXPECT_THAT(shown, testing::Each(testing::MatchesRegex("^(" + ours + ")$")));
  EXPECT_THAT(shown, testing::IsSupersetOf({"Create" + name, "Release" + name, "vtable for " + name,
                                            "typeinfo for " + name, name + "::AssignServiceID()",
                                            name + "::gLock"}));
}

}  // namespace
