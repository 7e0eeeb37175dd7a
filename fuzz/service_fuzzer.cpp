// The whole service between a framework, a driver and a discovery client that do anything: packets,
// answers, messages, records and settings all come from the input. Latencies, ports and cookies are
// mostly such as were used before, so that a policy is met again. After every packet the service's
// promises are checked against its state before it; a broken one aborts.
#include <android/log.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "config/link_configuration.h"
#include "framework/config_parser.h"
#include "framework/log_level.h"
#include "framework/nuvrel_connection.h"
#include "service/wireless_link_config_service.h"
#include "tests/scripted_platform.h"

namespace {

FuzzedDataProvider* gInput = nullptr;
bool gReliable = false;  // nothing fails: such a world gets far, the other one everywhere

void Promise(bool kept, const char* promise) {
  if (!kept) {
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
  }
}

int32_t Result() {
  constexpr int32_t kResults[] = {0, 0, 0, 1, -1, -110};
  return gReliable ? 0 : gInput->PickValueInArray(kResults);
}

// One of `known`, which begins as a dictionary, or a new one, which is known from then on.
uint32_t Pick(std::vector<uint32_t>& known) {
  const auto choice = gInput->ConsumeIntegralInRange<size_t>(0, known.size() + 7);
  if (choice < known.size()) {
    return known[choice];
  }
  known.push_back(choice % 2 == 0 ? gInput->ConsumeIntegral<uint32_t>()
                                  : gInput->ConsumeIntegralInRange<uint32_t>(0, 1023));
  return known.back();
}

// Half the texts are of a given form, so that the input gets past the first check.
std::string Text(const std::string& form, size_t limit) {
  return gInput->ConsumeBool() ? form + gInput->ConsumeRandomLengthString(64)
                               : gInput->ConsumeRandomLengthString(limit);
}

struct Exchange {
  std::string command;
  int32_t result;
  std::string reply;
};

class FuzzedPlatform : public ScriptedPlatform {
 public:
  int32_t OpenCtrlInterface(const std::string&) override { return Result(); }
  int32_t CloseCtrlInterface() override { return Result(); }

  int32_t ExecuteCommand(const std::string& command, const std::string& extra, std::string& text,
                         int32_t flag) override {
    Promise(command.starts_with("DRIVER "), "a command begins with DRIVER");
    Promise(command.size() <= 511, "a command is at most 511 bytes");
    Promise(extra.empty() && flag == 0, "the second text is empty and the flag 0");
    text = Text("cookie=p" + std::to_string(gInput->ConsumeIntegralInRange(1, 9)), 300);
    wire.push_back({command, Result(), text});
    return wire.back().result;
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

  // What the discovery client and the wrapper library will say from now on.
  void Change() {
    client = Result() >= 0 ? 1 : 0;
    handle = Result() >= 0 ? 1 : 0;
    network = Result();
    for (std::string* text : {&interface, &self, &peer}) {
      *text = gInput->ConsumeRandomLengthString(200);
    }
  }

  std::vector<Exchange> wire;
};

class FuzzedConfig : public nuvrel::ConfigParser {
 public:
  FuzzedConfig() {
    mLogMask = kNuvrelLogInfo;
    LinkConfiguration config;
    ForEachSetting(config, [this](std::string key, const auto& field) {
      std::transform(key.begin(), key.end(), key.begin(), ::tolower);
      if (!gInput->ConsumeBool()) {
        return;
      }
      if constexpr (std::is_same_v<decltype(field), const std::string&>) {
        // The node is really opened and written: below a folder that is not there, at most.
        mStrings[kSettingPrefix + key] = key == "wlanunittesttargetnode"
                                             ? "/nonexistent"
                                             : gInput->ConsumeRandomLengthString(600);
      } else {
        mIntegers[kSettingPrefix + key] = gInput->ConsumeIntegral<int64_t>();
      }
    });
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
  ServiceUnderFuzz(FuzzedConnection* connection, nuvrel::ConfigParser* config,
                   FuzzedPlatform& platform)
      : WirelessLinkConfigService(connection, config), mSent(*connection), mWire(platform.wire) {}

  // Plays one request, or a run of them with the latency, and the port or not, counting up.
  void RunSome() {
    const uint8_t command = gInput->ConsumeBool() ? NUVREL_WLC_CMD_ADD_LAPB_POLICY
                                                  : gInput->ConsumeIntegralInRange<uint8_t>(0, 8);
    const bool answered = gInput->ConsumeIntegral<uint8_t>() != 0;
    uint32_t values[] = {Pick(mPorts), gInput->ConsumeIntegral<uint32_t>(),
                         gInput->ConsumeIntegral<uint32_t>(), Pick(mLatencies)};
    const int times = gInput->ConsumeBool() ? 1 : gInput->ConsumeIntegralInRange(1, 40);
    const auto step = gInput->ConsumeIntegralInRange<uint32_t>(0, 1);
    for (int i = 0; i < times; ++i, values[0] += step, ++values[3]) {
      NuvrelPkt_t packet{};
      packet.connection = answered ? &mSent : nullptr;
      packet.payload[0] = command;
      std::memcpy(packet.payload + 1, values, sizeof(values));
      RunOne(packet, static_cast<int>(values[0]), values[3]);
    }
  }

 private:
  void RunOne(NuvrelPkt_t& packet, int port, uint32_t latency) {
    const uint8_t command = packet.payload[0];
    const bool linkReady = mLinkConfig != nullptr && mWpaClient != nullptr;
    const bool policiesReady = mLapbSupported && mWpaClient != nullptr;
    const auto classes = mServiceIdMap;
    auto policies = mLapbPolicies;
    gPlatform->record.clear();
    mWire.clear();
    mSent.replies.clear();

    const int32_t status = OnPacket(&packet);

    if (packet.connection == nullptr) {
      Promise(status == -1 && mSent.replies.empty() && mWire.empty(),
              "a packet without a connection is dropped");
      return;
    }
    Promise(mSent.replies.size() == 1, "every packet gets one reply");
    CheckReply(mSent.replies[0], command, status);
    Promise(status >= -1 && status <= 1, "a status is one of the given ones");
    const bool mayUseWire = command == 4 || command == 5                   ? linkReady
                            : command == 3 || command == 6 || command == 7 ? policiesReady
                                                                           : command == 2;
    Promise(mayUseWire || mWire.empty(), "a refused operation sends nothing");
    if (policiesReady && command == 6) {
      CheckBinding(port, latency, classes, policies);
    } else if (policiesReady && (command == 3 || command == 7)) {
      Promise(mWire.size() == policies.size(), "every policy is deleted once");
      policies.clear();
    }
    Promise(mLapbPolicies == policies, "the table holds what the driver was told");
  }

  // A port's policy is bound to the class of the latency, which is made where there is none.
  void CheckBinding(int port, uint32_t latency,
                    const std::unordered_map<uint32_t, uint8_t>& classes,
                    std::unordered_map<int, std::string>& policies) const {
    size_t next = 0;
    if (classes.count(latency) == 0) {
      if (mWire.empty()) {
        Promise(classes.size() >= 32, "a class is made while an ID is free");
        return;
      }
      const auto created = mServiceIdMap.find(latency);
      Promise((mWire[0].result >= 0) == (created != mServiceIdMap.end()), "a class made is known");
      if (created == mServiceIdMap.end()) {
        return;
      }
      for (const auto& [other, id] : classes) {
        Promise(created->second <= 31 && id != created->second, "a new ID is unique, 0 to 31");
      }
      Promise(mWire[0].command.starts_with(
                  "DRIVER SERVICE_CLASS_ADD service_class_id " + std::to_string(created->second) +
                  " buffer_latency_tolerance " + std::to_string(latency) + " "),
              "a class is made for its latency");
      next = 1;
    }
    Promise(mWire.size() == next + 1, "one command binds a port");
    const Exchange& sent = mWire[next];
    const std::string bound = " service_class_id " + std::to_string(mServiceIdMap.at(latency));
    if (const auto known = policies.find(port); known != policies.end()) {
      Promise(sent.command == "DRIVER POLICY_UPDATE cookie " + known->second + bound,
              "a policy that is there is bound anew by its cookie");
      return;
    }
    const std::string text = std::to_string(port);
    Promise(
        sent.command.size() == 511 || sent.command.ends_with(" src_port " + text + " dst_port " +
                                                             text + " proto udp" + bound),
        "a new policy is for its port and class");
    if (sent.result >= 0) {
      policies[port] = mLapbPolicies.count(port) == 0 ? "none" : mLapbPolicies.at(port);
      Promise(policies[port].empty() || sent.reply.find(policies[port], 7) != std::string::npos,
              "a cookie is the driver's");
    }
  }

  FuzzedConnection& mSent;
  std::vector<Exchange>& mWire;
  std::vector<uint32_t> mPorts = {5000, 5002, 0, UINT32_MAX};
  std::vector<uint32_t> mLatencies = {10, 20, 30, 0, UINT32_MAX};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  gInput = &input;
  gReliable = input.ConsumeBool();
  FuzzedPlatform platform;
  gNuvrelLogLevel = kNuvrelLogError | kNuvrelLogWarn | kNuvrelLogInfo | kNuvrelLogDebug;
  __android_log_set_logger([](const __android_logger_data*, const char*) {});
  platform.Change();
  FuzzedConnection connection;
  FuzzedConfig config;
  {
    ServiceUnderFuzz service(&connection, input.ConsumeBool() ? &config : nullptr, platform);
    while (input.remaining_bytes() > 0) {
      if (input.ConsumeIntegralInRange(0, 7) == 0) {
        platform.Change();
      }
      service.RunSome();
    }
  }
  gInput = nullptr;
  return 0;
}
