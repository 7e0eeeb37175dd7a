// The whole service between a framework, a driver and a discovery client that do anything: packets,
// answers, messages, records and settings all come from the input. After every command the
// service's promises are checked; a broken one aborts.
#include <android/log.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdio>
#include <cstdlib>
#include <regex>
#include <set>

#include "framework/config_parser.h"
#include "framework/log_level.h"
#include "framework/nuvrel_connection.h"
#include "service/wireless_link_config_service.h"

namespace {

FuzzedDataProvider* gInput = nullptr;
WpaCliWrapper* gWrapper = nullptr;

void Promise(bool kept, const char* promise) {
  if (!kept) {
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
  }
}

// Half the texts are of a given form, so that the input gets past the first check.
std::string Text(const char* form, size_t limit) {
  return gInput->ConsumeBool() ? form + gInput->ConsumeRandomLengthString(64)
                               : gInput->ConsumeRandomLengthString(limit);
}

// A world that never fails gets far; one that may fail at every step gets everywhere.
bool gReliable = false;

int32_t Result() {
  if (gReliable) {
    return 0;
  }
  constexpr int32_t kResults[] = {0, 0, 0, 1, -1, -110};
  return gInput->PickValueInArray(kResults);
}

class FuzzedDriver : public WpaCliWrapper {
 public:
  int32_t OpenCtrlInterface(const std::string&) override { return Result(); }
  int32_t CloseCtrlInterface() override { return Result(); }

  int32_t ExecuteCommand(const std::string& command, const std::string& extra, std::string& reply,
                         int32_t flag) override {
    Promise(command.starts_with("DRIVER "), "a command begins with DRIVER");
    Promise(command.size() <= 511, "a command is at most 511 bytes");
    Promise(extra.empty() && flag == 0, "the second text is empty and the flag 0");
    reply = Text("cookie=", 300);
    const int32_t result = Result();
    wire.emplace_back(command, result);
    return result;
  }

  int32_t GetResponse(std::string& message, const std::string& prefix, int32_t limit) override {
    Promise(prefix == "<3>SVC-EVENT:" && limit == 1500, "a wait has its prefix and limit");
    if (gInput->remaining_bytes() == 0) {
      return -1;
    }
    constexpr const char* kForms[] = {"<3>SVC-EVENT: svc_count:", "<3>SVC-EVENT: svc_count:2",
                                      "<3>SVC-EVENT: (h) (1, 10, 0, 0) (", "<3>SVC-EVENT:"};
    message = Text(gInput->PickValueInArray(kForms), 5000);
    return Result();
  }

  std::vector<std::pair<std::string, int32_t>> wire;
};

class FuzzedClient : public ServiceClient {
 public:
  int32_t Reserved0() override { return 0; }
  int32_t Reserved1() override { return 0; }
  int32_t Reserved2() override { return 0; }
  int32_t GetPeerInterfaceInfo(uint8_t* status, NetworkInterfaceInfo* info) override {
    *status = gInput->ConsumeIntegral<uint8_t>();
    return GetNetworkInterfaceInfo(info);
  }
  int32_t GetNetworkInterfaceInfo(NetworkInterfaceInfo* info) override {
    gInput->ConsumeData(info, sizeof(*info));
    return Result();
  }
};

class FuzzedConfig : public nuvrel::ConfigParser {
 public:
  FuzzedConfig() {
    mLogMask = kNuvrelLogInfo;
    const std::string prefix = "nuvrel.services.wirelesslinkconfig.";
    for (const char* key : {"wpaifpath", "wlansetratemask", "wlanoriginalratemask"}) {
      if (gInput->ConsumeBool()) mStrings[prefix + key] = gInput->ConsumeRandomLengthString(600);
    }
    for (const char* key : {"wlanxrlatencymode", "wlannormallatencymode", "wlanenabletsf",
                            "wlantsfsyncinterval", "disablerra"}) {
      if (gInput->ConsumeBool()) mIntegers[prefix + key] = gInput->ConsumeIntegral<int64_t>();
    }
    // Below a folder of our own at most: the node is really opened and written.
    if (gInput->ConsumeBool()) mStrings[prefix + "wlanunittesttargetnode"] = "/nonexistent";
  }
};

class FuzzedConnection : public INuvrelConnection {
 public:
  int SendPacket(NuvrelPkt_t* record, void* extra) override {
    Promise(extra == nullptr, "a reply carries nothing extra");
    replies.push_back(*record);
    return Result();
  }
  std::vector<NuvrelPkt_t> replies;
};

void CheckReply(const NuvrelPkt_t& reply, uint8_t command, int32_t status) {
  NuvrelPkt_t expected{};
  expected.msgType = 8;
  expected.payloadLen = 5;
  expected.payload[0] = command;
  std::memcpy(expected.payload + 1, &status, sizeof(status));
  expected.reserved259 = 1;
  expected.reserved272 = -1;
  Promise(std::memcmp(&reply, &expected, sizeof(reply)) == 0, "a reply has the given form");
}

class ServiceUnderFuzz : public WirelessLinkConfigService {
 public:
  using WirelessLinkConfigService::WirelessLinkConfigService;

  // Plays one request, or a run of them with ports and latencies counting up.
  void RunSome(FuzzedDriver& driver, FuzzedConnection& connection) {
    NuvrelPkt_t packet{};
    gInput->ConsumeData(packet.payload, 20);
    packet.payload[0] = gInput->ConsumeBool() ? gInput->ConsumeIntegralInRange<uint8_t>(1, 7)
                                              : gInput->ConsumeIntegral<uint8_t>();
    packet.connection = gInput->ConsumeIntegral<uint8_t>() != 0 ? &connection : nullptr;
    const int times = gInput->ConsumeBool() ? 1 : gInput->ConsumeIntegralInRange(1, 40);
    for (int i = 0; i < times; ++i) {
      RunOne(packet, driver, connection);
      ++packet.payload[1];
      ++packet.payload[13];
    }
  }

 private:
  void RunOne(NuvrelPkt_t& packet, FuzzedDriver& driver, FuzzedConnection& connection) {
    const uint8_t command = packet.payload[0];
    const bool linkReady = mLinkConfig != nullptr && mWpaClient != nullptr;
    const bool policiesReady = mLapbSupported && mWpaClient != nullptr;
    const auto idsBefore = mServiceIdMap;
    driver.wire.clear();
    connection.replies.clear();

    const int32_t status = OnPacket(&packet);

    if (packet.connection == nullptr) {
      Promise(status == -1 && connection.replies.empty() && driver.wire.empty(),
              "a packet without a connection is dropped");
      return;
    }
    Promise(connection.replies.size() == 1, "every packet gets one reply");
    CheckReply(connection.replies[0], command, status);
    Promise(status >= -1 && status <= 1, "a status is one of the given ones");
    const bool mayUseWire = command == 4 || command == 5   ? linkReady
                            : command == 6 || command == 7 ? policiesReady
                            : command == 3                 ? policiesReady
                                                           : command == 2;
    Promise(mayUseWire || driver.wire.empty(), "a refused operation sends nothing");
    if ((command == 3 || command == 7) && policiesReady) {
      mPorts.clear();
    }
    CheckWire(driver, idsBefore);
    Promise(mLapbPolicies.size() == mPorts.size(), "the table holds what the driver was told");
  }

  // Follows the policies from the wire alone.
  void CheckWire(const FuzzedDriver& driver,
                 const std::unordered_map<uint32_t, uint8_t>& idsBefore) {
    static const std::regex kAdd("DRIVER POLICY_ADD [\\s\\S]*src_port (-?\\d+) dst_port [\\s\\S]*");
    static const std::regex kClass("DRIVER SERVICE_CLASS_ADD service_class_id (\\d+) .*");
    for (const auto& [command, result] : driver.wire) {
      std::smatch match;
      if (std::regex_match(command, match, kClass)) {
        const int id = std::stoi(match[1]);
        Promise(id >= 0 && id <= 31, "an ID handed out is 0 to 31");
        for (const auto& [latency, known] : idsBefore) {
          Promise(known != id, "an ID handed out is unique");
        }
      } else if (result >= 0 && std::regex_match(command, match, kAdd)) {
        Promise(mPorts.insert(std::stoi(match[1])).second, "a port has at most one policy");
      }
    }
  }

  std::set<int> mPorts;
};

}  // namespace

extern "C" {
WpaCliWrapper* GetWpacliWrapperHandle() { return Result() < 0 ? nullptr : gWrapper; }
void ReleaseWpacliWrapperHandle() {}
__attribute__((visibility("default"))) ServiceClient* FuzzedServiceClient() {
  return Result() < 0 ? nullptr : new FuzzedClient;
}

int LLVMFuzzerInitialize(int*, char***) {
  gNuvrelLogLevel = kNuvrelLogError | kNuvrelLogWarn | kNuvrelLogInfo | kNuvrelLogDebug;
  __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
  __android_log_set_logger([](const __android_logger_data*, const char*) {});
  return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  gInput = &input;
  FuzzedDriver driver;
  gWrapper = &driver;
  FuzzedConnection connection;
  FuzzedConfig config;
  gReliable = input.ConsumeBool();
  {
    ServiceUnderFuzz service(&connection, input.ConsumeBool() ? &config : nullptr);
    while (input.remaining_bytes() > 0) {
      service.RunSome(driver, connection);
    }
  }
  gInput = nullptr;
  return 0;
}
}
