// From a packet to its operation and its reply. What each command does stands in the transcripts;
// the reply of every packet there is compared byte by byte.
#include <atomic>
#include <cstdlib>
#include <new>

#include "tests/service_rig.h"

namespace {

std::atomic<long> gAllocations{0};

}  // namespace

[[gnu::noinline]] void* operator new(size_t size) {
  ++gAllocations;
  if (void* memory = std::malloc(size)) {
    return memory;
  }
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, size_t /*size*/) noexcept {
  std::free(memory);
}

namespace {

TEST(Dispatch, PacketWithoutAConnectionIsDroppedInSilence) {
  Rig rig;
  NuvrelPkt_t request = Request(NUVREL_WLC_CMD_INIT, nullptr);
  EXPECT_EQ(rig.service.OnPacket(&request), -1);
  EXPECT_EQ(rig.service.OnPacket(nullptr), -1);
  EXPECT_TRUE(rig.platform.TakeRecord().empty());
  rig.service.SendStatus(nullptr, NUVREL_WLC_CMD_INIT, 0);
  EXPECT_EQ(rig.platform.TakeRecord(),
            std::vector<std::string>{"W No nuvrel client handle provided."});
}

TEST(Dispatch, OtherSlotsDoNothing) {
  Rig rig;
  rig.Send(NUVREL_WLC_CMD_INIT);
  rig.platform.TakeRecord();
  rig.service.OnConnectionLost();
  EXPECT_EQ(rig.service.Reserved0(), 0);
  EXPECT_EQ(rig.service.Reserved1(), 0);
  EXPECT_TRUE(rig.service.mInitialized);
  EXPECT_TRUE(rig.platform.TakeRecord().empty());
}

TEST(Dispatch, CommandBufferHoldsTheLastCommandAndZeros) {
  Rig rig;
  const auto buffer = [&rig] { return std::string(rig.service.mCmdBuf, 512); };
  rig.Send(NUVREL_WLC_CMD_INIT);
  rig.service.mLinkConfig->wlanSetRatemask = std::string(600, 'f');
  rig.Send(NUVREL_WLC_CMD_APPLY_LINK_SETTINGS);
  rig.Send(NUVREL_WLC_CMD_REVERT_LINK_SETTINGS);
  std::string expected = "DRIVER SET_TX_RATEMASK PHYMODE 3 RATEMASK 0xFFFFFFFF";
  expected.resize(512);
  EXPECT_EQ(buffer(), expected);
  rig.Send(NUVREL_WLC_CMD_DEINIT);
  EXPECT_EQ(buffer(), std::string(512, '\0'));
}

// Answers nothing, so that only the service could allocate.
struct SilentConnection : INuvrelConnection {
  int SendPacket(NuvrelPkt_t* /*record*/, void* /*extra*/) override { return 0; }
};

TEST(Dispatch, DispatchAndReplyAllocateNothing) {
  Rig rig;
  rig.Send(NUVREL_WLC_CMD_INIT);
  gNuvrelLogLevel = 0;
  SilentConnection silent;
  NuvrelPkt_t unknown = Request(99, &silent);
  NuvrelPkt_t init = Request(NUVREL_WLC_CMD_INIT, &silent);
  const long before = gAllocations;
  EXPECT_GT(before, 0);  // they are counted
  rig.service.OnPacket(&unknown);
  rig.service.OnPacket(&init);
  EXPECT_EQ(gAllocations, before);
}

}  // namespace
