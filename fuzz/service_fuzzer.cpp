// The whole service between a framework, a driver and a discovery client that do anything: packets,
// answers, messages, records and settings all come from the input. Latencies, ports and cookies are
// mostly such as were used before, so that a policy is met again. After every packet the service's
// promises are checked against its state before it; a broken one aborts.
#include <fuzzer/FuzzedDataProvider.h>

#include <cctype>

#include "platform/log_redirection.h"
#include "tests/service_rig.h"

namespace {

FuzzedDataProvider* gInput = nullptr;
bool gReliable = false;  // nothing fails: such a world gets far, the other one everywhere

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

struct FuzzedPlatform : ScriptedPlatform {
  int32_t OpenCtrlInterface(const std::string&) override { return Result(); }

  int32_t ExecuteCommand(const std::string& command, const std::string& /*extra*/,
                         std::string& text, int32_t /*flag*/) override {
    EXPECT_TRUE(command.starts_with("DRIVER ") && command.size() <= 511) << command;
    text = Text("cookie=p" + std::to_string(gInput->ConsumeIntegralInRange(1, 9)), 300);
    wire.push_back({command, Result(), text});
    return wire.back().result;
  }

  int32_t GetResponse(std::string& message, const std::string&, int32_t) override {
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

// Some of the settings, each as a text and as a number.
void Configure(TestParser& parser) {
  LinkConfiguration config;
  ForEachSetting(config, [&parser](const char* name, const auto& /*field*/) {
    if (gInput->ConsumeBool()) {
      std::string key = SettingKey(name);
      std::transform(key.begin(), key.end(), key.begin(), ::tolower);
      // The node is really opened and written: below a folder that is not there, at most.
      const bool node = key.ends_with("node");
      parser.mStrings[key] = node ? "/nonexistent" : gInput->ConsumeRandomLengthString(600);
      parser.mIntegers[key] = gInput->ConsumeIntegral<int64_t>();
    }
  });
}

class ServiceUnderFuzz : Rig {
 public:
  ServiceUnderFuzz() {
    mConfigParser = gInput->ConsumeBool() ? &parser : nullptr;
    RedirectLog([](int, const char*, const char*) {});
    Configure(parser);
  }
  ~ServiceUnderFuzz() override { DeInit(); }  // while there is a platform

  // Sends one request, or up to 40 in which the latency counts up, and sometimes the port as well.
  // Before it, the platform may change.
  void RunSome() {
    if (gInput->ConsumeIntegralInRange(0, 7) == 0) {
      mPlatform.Change();
    }
    const uint8_t command = gInput->ConsumeBool() ? NUVREL_WLC_CMD_ADD_LAPB_POLICY
                                                  : gInput->ConsumeIntegralInRange<uint8_t>(0, 8);
    std::vector<uint32_t> values = {Pick(mPorts), gInput->ConsumeIntegral<uint32_t>(),
                                    gInput->ConsumeIntegral<uint32_t>(), Pick(mLatencies)};
    const int times = gInput->ConsumeBool() ? 1 : gInput->ConsumeIntegralInRange(1, 40);
    const auto step = gInput->ConsumeIntegralInRange<uint32_t>(0, 1);
    for (int i = 0; i < times; ++i, values[0] += step, ++values[3]) {
      RunOne(command, values);
    }
  }

 private:
  // Sends one request, whose reply Send checks.
  void RunOne(uint8_t command, const std::vector<uint32_t>& values) {
    const bool linkReady = mLinkConfig != nullptr && mWpaClient != nullptr;
    const bool policiesReady = mLapbSupported && mWpaClient != nullptr;
    const auto classes = mServiceIdMap;
    auto policies = mLapbPolicies;
    mPlatform.record.clear();
    mWire.clear();
    connection.result = Result();

    const int status = Send(command, values);

    EXPECT_TRUE(status >= -1 && status <= 1) << status;
    const bool mayUseWire = command == 4 || command == 5                   ? linkReady
                            : command == 3 || command == 6 || command == 7 ? policiesReady
                                                                           : command == 2;
    EXPECT_TRUE(mayUseWire || mWire.empty()) << "a refused operation sends nothing";
    if (policiesReady && command == 6) {
      CheckBinding(static_cast<int>(values[0]), values[3], classes, policies);
    } else if (policiesReady && (command == 3 || command == 7)) {
      EXPECT_EQ(mWire.size(), policies.size()) << "every policy is deleted once";
      policies.clear();
    }
    EXPECT_EQ(mLapbPolicies, policies) << "the table holds what the driver was told";
  }

  // A port's policy is bound to the class of the latency, which is made where there is none.
  void CheckBinding(int port, uint32_t latency,
                    const std::unordered_map<uint32_t, uint8_t>& classes,
                    std::unordered_map<int, std::string>& policies) const {
    const auto known = mServiceIdMap.find(latency);
    size_t next = 0;
    if (!classes.contains(latency)) {
      if (mWire.empty()) {
        EXPECT_GE(classes.size(), 32U) << "a class is made while an ID is free";
        return;
      }
      EXPECT_EQ(mWire[0].result >= 0, known != mServiceIdMap.end()) << "a class made is known";
      if (known == mServiceIdMap.end()) {
        return;
      }
      for (const auto& [other, id] : classes) {
        EXPECT_TRUE(known->second <= 31 && id != known->second) << "a new ID is unique, 0 to 31";
      }
      EXPECT_TRUE(mWire[next++].command.starts_with(
          "DRIVER SERVICE_CLASS_ADD service_class_id " + std::to_string(known->second) +
          " buffer_latency_tolerance " + std::to_string(latency) + " "));
    }
    ASSERT_EQ(mWire.size(), next + 1) << "one command binds a port";
    const Exchange& sent = mWire[next];
    const std::string bound = " service_class_id " + std::to_string(known->second);
    if (policies.contains(port)) {
      EXPECT_EQ(sent.command, "DRIVER POLICY_UPDATE cookie " + policies[port] + bound);
      return;
    }
    const std::string text = std::to_string(port);
    EXPECT_TRUE(
        sent.command.size() == 511 ||
        sent.command.ends_with(" src_port " + text + " dst_port " + text + " proto udp" + bound))
        << sent.command;
    if (sent.result >= 0) {
      ASSERT_TRUE(mLapbPolicies.contains(port));
      policies[port] = mLapbPolicies.at(port);
      EXPECT_TRUE(policies[port].empty() || sent.reply.find(policies[port], 7) != std::string::npos)
          << "a cookie is the driver's";
    }
  }

  FuzzedPlatform mPlatform;
  std::vector<Exchange>& mWire = mPlatform.wire;
  std::vector<uint32_t> mPorts = {5000, 5002, 0, UINT32_MAX};
  std::vector<uint32_t> mLatencies = {10, 20, 30, 0, UINT32_MAX};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  GTEST_FLAG_SET(throw_on_failure, true);
  FuzzedDataProvider input(data, size);
  gInput = &input;
  gReliable = input.ConsumeBool();
  ServiceUnderFuzz service;
  while (input.remaining_bytes() > 0) {
    service.RunSome();
  }
  return 0;
}
