// The whole service between a framework, a driver and a discovery client that do anything: packets,
// answers, messages, records and settings all come from the input. Half the ports and latencies are
// of a few, so that a policy is met again. After every packet the service's
// promises are checked against its state before it; a broken one aborts.
#include <fuzzer/FuzzedDataProvider.h>

#include "platform/log_redirection.h"
#include "platform/lower_case.h"
#include "tests/service_rig.h"

namespace {

FuzzedDataProvider* gInput = nullptr;

uint32_t Number(std::initializer_list<const uint32_t> usual) {
  return gInput->ConsumeBool() ? gInput->PickValueInArray(usual)
                               : gInput->ConsumeIntegral<uint32_t>();
}

// Half the texts are of a given form, so that the input gets past the first check.
std::string Text(const std::string& form, size_t limit) {
  return gInput->ConsumeBool() ? form + gInput->ConsumeRandomLengthString(64)
                               : gInput->ConsumeRandomLengthString(limit);
}

struct FuzzedPlatform : ScriptedPlatform {
  int32_t ExecuteCommand(const std::string& command, const std::string& extra, std::string& text,
                         int32_t flag) override {
    EXPECT_TRUE(command.starts_with("DRIVER ") && command.size() <= 511) << command;
    wire.push_back(command);
    return ScriptedPlatform::ExecuteCommand(command, extra, text, flag);
  }
  void Called(const std::string& /*call*/) override {}
  bool Refuses(const std::string& command) const {
    return command.find(refuse) != std::string::npos;
  }

  std::vector<std::string> wire;
};

class ServiceUnderFuzz : Rig {
 public:
  ServiceUnderFuzz() {
    mConfigParser = gInput->ConsumeBool() ? &parser : nullptr;
    RedirectLog([](int, const char*, const char*) {});
    LinkConfiguration config;
    ForEachSetting(config, [this](const std::string& name, const auto& /*field*/) {
      if (gInput->ConsumeBool()) {
        const std::string key = LowerCase(SettingKey(name));
        // The node is really opened and written: below a folder that is not there, at most.
        const bool node = name == "wlanUnitTestTargetNode";
        parser.mStrings[key] = node ? "/nonexistent" : gInput->ConsumeRandomLengthString(600);
        parser.mIntegers[key] = gInput->ConsumeIntegral<int64_t>();
      }
    });
  }
  ~ServiceUnderFuzz() override { DeInit(); }  // while there is a platform

  // Sends one request, or up to 40 in which the latency counts up, and sometimes the port as well.
  // Before it, the driver changes, and sometimes the platform's libraries.
  void RunSome() {
    if (gInput->ConsumeIntegralInRange(0, 7) == 0) {
      ChangeLibraries();
    }
    ChangeDriver();
    const uint8_t command = gInput->ConsumeBool() ? NUVREL_WLC_CMD_ADD_LAPB_POLICY
                                                  : gInput->ConsumeIntegralInRange<uint8_t>(0, 8);
    std::vector<uint32_t> values = {Number({5000, 5002, 0, UINT32_MAX}), Number({0}), Number({0}),
                                    Number({10, 20, 30, 0, UINT32_MAX})};
    const int times = gInput->ConsumeBool() ? 1 : gInput->ConsumeIntegralInRange(1, 40);
    const auto step = gInput->ConsumeIntegralInRange<uint32_t>(0, 1);
    for (int i = 0; i < times; ++i, values[0] += step, ++values[3]) {
      RunOne(command, values);
    }
  }

 private:
  void ChangeLibraries() {
    constexpr int32_t kResults[] = {0, 1, 1, 1, -1, -110};
    for (int32_t* result :
         {&mPlatform.client, &mPlatform.handle, &mPlatform.network, &mPlatform.open, &sendResult}) {
      *result = gInput->PickValueInArray(kResults);
    }
    for (std::string* text : {&mPlatform.interface, &mPlatform.self, &mPlatform.peer}) {
      *text = gInput->ConsumeRandomLengthString(200);
    }
  }

  // Its answer to the next commands, those of them that it refuses, and its messages.
  void ChangeDriver() {
    constexpr const char* kRefused[] = {"none", "none", "none", "DRIVER", "CLASS", "POLICY", "p1"};
    constexpr const char* kForms[] = {"<3>SVC-EVENT: svc_count:", "<3>SVC-EVENT: svc_count:2",
                                      "<3>SVC-EVENT: (h) (1, 10, 0, 0) (", "<3>SVC-EVENT:"};
    mPlatform.reply = Text("cookie=p" + std::to_string(gInput->ConsumeIntegralInRange(1, 9)), 300);
    mPlatform.refuse = gInput->PickValueInArray(kRefused);
    mPlatform.messages.clear();
    while (gInput->ConsumeBool()) {
      mPlatform.messages.push_back(Text(gInput->PickValueInArray(kForms), 5000));
    }
  }

  // Sends one request, whose reply Send checks.
  void RunOne(uint8_t command, const std::vector<uint32_t>& values) {
    const bool needed = command == 4 || command == 5 ? mLinkConfig != nullptr : mLapbSupported;
    const bool ready = needed && mWpaClient != nullptr;
    const auto classes = mServiceIdMap;
    auto policies = mLapbPolicies;
    mWire.clear();

    const int status = Send(command, values);

    EXPECT_TRUE(status >= -1 && status <= 1) << status;
    const bool mayUseWire = command == 2 || (ready && command >= 3 && command <= 7);
    EXPECT_TRUE(mayUseWire || mWire.empty()) << "a refused operation sends nothing";
    if (ready && command == 6) {
      CheckBinding(status == 0, static_cast<int>(values[0]), values[3], classes, policies);
    } else if (ready && (command == 3 || command == 7)) {
      EXPECT_EQ(mWire.size(), policies.size()) << "every policy is deleted once";
      policies.clear();
    }
    EXPECT_EQ(mLapbPolicies, policies) << "the table holds what the driver was told";
  }

  // A port's policy is bound to the class of the latency, which is made where there is none.
  void CheckBinding(bool done, int port, uint32_t latency,
                    const std::unordered_map<uint32_t, uint8_t>& classes,
                    std::unordered_map<int, std::string>& policies) const {
    const size_t made = classes.contains(latency) ? 0 : 1;
    if (!mServiceIdMap.contains(latency)) {
      EXPECT_FALSE(done || (mWire.empty() && classes.size() < 32)) << "while an ID is free";
      EXPECT_TRUE(mWire.empty() || (mWire.size() == 1 && mPlatform.Refuses(mWire[0])));
      return;
    }
    const std::string id = std::to_string(mServiceIdMap.at(latency));
    if (made > 0) {
      EXPECT_TRUE(mWire[0].starts_with("DRIVER SERVICE_CLASS_ADD service_class_id " + id +
                                       " buffer_latency_tolerance " + std::to_string(latency)));
      for (const auto& known : classes) {
        EXPECT_TRUE(std::stoi(id) <= 31 && std::to_string(known.second) != id) << "ID " << id;
      }
    }
    ASSERT_EQ(mWire.size(), made + 1) << "one command binds a port";
    const std::string& sent = mWire.back();
    EXPECT_EQ(done, !mPlatform.Refuses(sent));
    if (policies.contains(port)) {
      EXPECT_EQ(sent, "DRIVER POLICY_UPDATE cookie " + policies[port] + " service_class_id " + id);
      return;
    }
    const std::string end =
        " dst_port " + std::to_string(port) + " proto udp service_class_id " + id;
    EXPECT_TRUE(sent.starts_with("DRIVER POLICY_ADD ") &&
                (sent.ends_with(end) || sent.size() == 511))
        << sent;
    if (done) {
      policies[port] = mLapbPolicies.at(port);
      EXPECT_TRUE(policies[port].empty() ||
                  mPlatform.reply.find(policies[port], 7) != std::string::npos)
          << "a cookie is the driver's";
    }
  }

  FuzzedPlatform mPlatform;
  std::vector<std::string>& mWire = mPlatform.wire;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  GTEST_FLAG_SET(throw_on_failure, true);
  FuzzedDataProvider input(data, size);
  gInput = &input;
  ServiceUnderFuzz service;
  while (input.remaining_bytes() > 0) {
    service.RunSome();
  }
  return 0;
}
