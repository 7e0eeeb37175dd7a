// A process that runs out of memory: each allocation of each operation fails once. The command
// fails alone, it is answered, and everything works afterwards.
#include <cstdlib>
#include <new>
#include <set>

#include "tests/service_rig.h"

namespace {

#ifdef _LIBCPP_VERSION  // it frees a node twice when compiling an expression runs out of memory
const char* const kCount = "<3>SVC-EVENT: svc_count:0";
#else
const char* const kCount = "<3>SVC-EVENT: svc_count:1";
#endif

int gLeft = -1;  // allocations up to the one that fails; negative: none does

// Whether the allocation has failed for which gLeft was set.
bool HasFailed() { return std::exchange(gLeft, -1) < 0; }

// Counts what is given back, and keeps the errors.
struct CountingPlatform : ScriptedPlatform {
  CountingPlatform() { gNuvrelLogLevel = kNuvrelLogError; }
  void Called(const std::string& call) override {
    clients += call == "delete client" ? 1 : 0;
    policies += call.starts_with("DRIVER POLICY_DELETE") ? 1 : 0;
    taken = std::string(call.starts_with("release") ? 99 : 0, ' ');  // by what must not throw
  }
  void Log(const std::string& line) override { errors.insert(line); }

  int clients = 0;
  int policies = 0;
  std::string taken;
  std::set<std::string> errors;
};

struct Exhausted : Rig {
  Exhausted() { counting.reply = "cookie=" + std::string(20, 'c'); }

  int Play(const std::vector<uint32_t>& step, int failing = -1) {
    counting.messages = {kCount, "<3>SVC-EVENT: (h) (3, 20, 0, 0)"};
    const std::vector<uint32_t> parameters(step.begin() + 1, step.end());
    gLeft = failing;
    return Send(static_cast<int>(step[0]), parameters);
  }

  std::string Holds() const {
    return testing::PrintToString(std::tuple(mInitialized, mLapbSupported, mLapbPolicies));
  }

  CountingPlatform counting;
};

TEST(NoMemory, FailsTheCommandAlone) {
  const std::vector<uint32_t> add = {6, 5000, 0, 0, 20};
  const std::vector<uint32_t> kSession[] = {{1}, {2}, add, {7}, add, {6, 5001, 0, 0, 40},
                                            add, {4}, {5}, {3}};
  std::set<std::string> errors;
  for (const auto& last : kSession) {
    const bool deInit = last[0] == NUVREL_WLC_CMD_DEINIT;
    const bool clears = deInit || last[0] == NUVREL_WLC_CMD_CLEAR_LAPB_POLICIES;
    bool failed = true;
    for (int failing = 0; failed; ++failing) {
      SCOPED_TRACE(testing::PrintToString(last) + ", allocation " + std::to_string(failing));
      Exhausted service;
      for (const auto* step = kSession; step != &last; ++step) {
        service.Play(*step);
      }
      const std::string before = service.Holds();
      const int status = service.Play(last, failing);
      failed = HasFailed();
      EXPECT_TRUE(!failed || clears || service.Holds() == before) << service.Holds();
      EXPECT_EQ(status, failed && !deInit ? -1 : 0);
      EXPECT_EQ(service.counting.clients, deInit ? 1 : 0);
      EXPECT_GE(service.counting.policies, deInit ? 2 : 0);  // of three: every one but this
      errors.merge(service.counting.errors);
      EXPECT_GE(service.Play(last), 0);  // again, with what it has left
      service.Play({NUVREL_WLC_CMD_DEINIT});
      for (const auto& step : kSession) {
        EXPECT_EQ(service.Play(step), 0);
      }
    }
  }
  EXPECT_TRUE(errors.contains("E [OnPacket] Stopped by an exception"));
}

TEST(NoMemory, ForTheReplyEndsNoMoreThanTheReply) {
  struct : INuvrelConnection {
    int SendPacket(NuvrelPkt_t* /*record*/, void* /*extra*/) override { throw std::bad_alloc(); }
  } connection;
  Exhausted service;
  NuvrelPkt_t request = Request(99, &connection);
  EXPECT_EQ(service.OnPacket(&request), -1);
}

TEST(NoMemory, LeavesNoInstanceHalfMade) {
  CountingPlatform platform;
  ServiceCreateParams params{nullptr, nullptr};
  bool failed = true;
  for (int failing = 0; failed; ++failing) {
    SCOPED_TRACE(failing);
    void* service = &params;
    gLeft = failing;
    CreateWirelessLinkConfigService(&service, &params);
    failed = HasFailed();
    EXPECT_EQ(service == nullptr, failed);
    if (failed) {
      CreateWirelessLinkConfigService(&service, &params);
    }
    EXPECT_EQ(static_cast<WirelessLinkConfigService*>(service)->Init(nullptr), 0);
    gLeft = failing;
    EXPECT_EQ(ReleaseWirelessLinkConfigService(service), 0);
    failed |= HasFailed();
    EXPECT_EQ(platform.clients, failing + 1);
    EXPECT_EQ(ReleaseWirelessLinkConfigService(nullptr), 0);
  }
}

}  // namespace

// The array forms and those without exceptions come down to these. Were they inlined, the compiler
// would see memory of one allocator given back to another.
__attribute__((noinline)) void* operator new(std::size_t size) {
  void* memory = gLeft >= 0 && gLeft-- == 0 ? nullptr : std::malloc(size);
  return memory != nullptr ? memory : throw std::bad_alloc();
}
__attribute__((noinline)) void operator delete(void* memory) noexcept { std::free(memory); }
__attribute__((noinline)) void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
