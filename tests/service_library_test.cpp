// The shared library as the framework loads it: SERVICE_LIBRARY is its path, NM the tool that lists
// its symbols, EXPORTED_SYMBOLS a file with those it is to show.
#include <cxxabi.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <regex>
#include <set>
#include <string>

#include "framework/config_parser.h"
#include "framework/log_level.h"
#include "framework/nuvrel_connection.h"
#include "framework/nuvrel_packet.h"
#include "framework/nuvrel_service.h"

namespace {

struct CountingConnection : INuvrelConnection {
  int SendPacket(NuvrelPkt_t* /*record*/, void* /*extra*/) override { return ++replies; }
  int replies = 0;
};

// The framework calls by slot: what stands in each, in order, and the layout of what it passes.
void ExpectSlots(void* instance) {
  const std::string service = "WirelessLinkConfigService::";
  const char* const slots[] = {"~WirelessLinkConfigService()",
                               "~WirelessLinkConfigService()",
                               "OnPacket(NuvrelPkt_t*)",
                               "OnConnectionLost()",
                               "Init(NuvrelPkt*)",
                               "DeInit()",
                               "Reserved[01]()",
                               "Reserved[01]()"};
  void** const table = *static_cast<void***>(instance);
  for (size_t i = 0; i < std::size(slots); ++i) {
    Dl_info info{};
    ASSERT_NE(dladdr(table[i], &info), 0) << i;
    const std::unique_ptr<char, void (*)(void*)> name(
        abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, nullptr), std::free);
    std::string shown = name.get();
    if (shown.ends_with("Reserved0()") || shown.ends_with("Reserved1()")) {
      shown = service + "Reserved[01]()";  // equal functions may be one
    }
    EXPECT_EQ(shown, service + slots[i]) << i;
  }
  static_assert(sizeof(ServiceCreateParams) == 16 && sizeof(NuvrelPkt) == 336);
  static_assert(offsetof(ServiceCreateParams, configParser) == 8);
  static_assert(offsetof(NuvrelPkt_t, msgType) == 0 && offsetof(NuvrelPkt_t, reserved276) == 276);
}

TEST(ServiceLibrary, IsUnloadedAfterTheLastRelease) {
  gNuvrelLogLevel = 0;
  void* library = dlopen(SERVICE_LIBRARY, RTLD_NOW);
  ASSERT_NE(library, nullptr) << dlerror();
  const auto create =
      reinterpret_cast<void (*)(void**, void*)>(dlsym(library, "CreateWirelessLinkConfigService"));
  const auto release =
      reinterpret_cast<int (*)(void*)>(dlsym(library, "ReleaseWirelessLinkConfigService"));
  ASSERT_NE(create, nullptr);
  ASSERT_NE(release, nullptr);
  CountingConnection connection;
  nuvrel::ConfigParser parser;
  ServiceCreateParams params{&connection, &parser};
  void* instance = nullptr;
  create(&instance, &params);
  NuvrelPkt_t packet{};
  packet.connection = &connection;
  ExpectSlots(instance);
  for (packet.payload[0] = 0; packet.payload[0] <= 8; ++packet.payload[0]) {
    static_cast<INuvrelService*>(instance)->OnPacket(&packet);
  }
  EXPECT_EQ(connection.replies, 9);
  EXPECT_EQ(release(instance), 0);
  EXPECT_EQ(dlclose(library), 0);
  EXPECT_EQ(dlopen(SERVICE_LIBRARY, RTLD_LAZY | RTLD_NOLOAD), nullptr);
}

// Names are compared without what the standard libraries differ in. A symbol of kind u would keep
// the library loaded for good.
TEST(ServiceLibrary, ShowsTheEntryPointsAndTheClassAndNothingElse) {
  const std::regex versioned("std::__(cxx11|1)::");
  std::multiset<std::string> shown;
  const std::unique_ptr<FILE, int (*)(FILE*)> nm(
      popen(NM " -DC --defined-only " SERVICE_LIBRARY, "r"), pclose);
  std::array<char, 4096> line{};
  while (fgets(line.data(), line.size(), nm.get()) != nullptr) {
    const std::string text(line.data());
    const size_t kind = text.find(' ') + 1;
    EXPECT_NE(text[kind], 'u') << text;
    shown.insert(
        std::regex_replace(text.substr(kind + 2, text.size() - kind - 3), versioned, "std::"));
  }
  std::ifstream file(EXPORTED_SYMBOLS);
  std::multiset<std::string> expected;
  for (std::string name; std::getline(file, name);) {
    expected.insert(name);
  }
  EXPECT_EQ(shown, expected);
}

}  // namespace
