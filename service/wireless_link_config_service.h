// The wireless link configuration service: tunes a headset's WLAN link for low-latency streaming to
// one peer.
//
// Command packets come in through OnPacket, "DRIVER ..." lines go out through the wpa-cli wrapper,
// and a status packet goes back on the packet's own connection before OnPacket returns. Example:
// the request payload 04 becomes DRIVER SET_LATENCY_MODE 2 and DRIVER SET_TX_RATEMASK PHYMODE 3
// RATEMASK 0x003FC0FF; the reply payload is 04 00 00 00 00.
//
// There is one instance in a process, made by the first Create and destroyed by the last Release.
// It starts no threads and runs every operation on its caller's. Results are 0 for success and -1
// for failure unless said otherwise. No exception leaves OnPacket, DeInit, Release and the two
// exported functions (service/contain.h).
//
// Locks, always taken in this order: gLock, mServiceLock, mPolicyLock, and then the loader's or the
// configuration parser's own. Packets may arrive on several threads: dispatch takes no lock, each
// operation takes its own, and one that lacks a handle, the settings or the flow policies fails
// before that (service/lock_if_set.h). mPolicyLock guards the driver. An operation that talks to
// the driver holds it from start to end, so exchanges and waits never overlap. Init and DeInit hold
// it while they change what such an operation reads, so teardown waits for the one under way.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "config/link_configuration.h"
#include "framework/nuvrel_packet.h"
#include "framework/nuvrel_service.h"
#include "framework/service_client.h"
#include "framework/thread_annotations.h"
#include "framework/wpa_cli_wrapper.h"
#include "service/library_loader.h"
#include "service/lock_if_set.h"

#define NUVREL_EXPORT __attribute__((visibility("default")))

class NUVREL_EXPORT WirelessLinkConfigService : public INuvrelService {
 public:
  // --- service/instance.cpp

  // Returns the one instance and adds a reference. `params` points at a ServiceCreateParams, which
  // is read only when no instance exists yet.
  static void* Create(void* params) EXCLUDES(gLock);
  // Drops a reference; the last one tears the instance down. -1 when `service` is not the instance.
  static int Release(void* service) EXCLUDES(gLock);

  // Both are borrowed; `configParser` may be null.
  WirelessLinkConfigService(INuvrelConnection* connection, nuvrel::ConfigParser* configParser);
  ~WirelessLinkConfigService() override;
  WirelessLinkConfigService(const WirelessLinkConfigService&) = delete;
  WirelessLinkConfigService& operator=(const WirelessLinkConfigService&) = delete;

  // --- service/dispatch.cpp

  // Runs the command in `packet` and sends its status; returns that status, or -1 without a reply
  // when the packet names no connection. The reply may call back into OnPacket: no lock is held
  // then. The caller keeps a reference for as long as the call runs.
  int32_t OnPacket(NuvrelPkt_t* packet) override EXCLUDES(mServiceLock, mPolicyLock);
  void OnConnectionLost() override;
  int32_t Reserved0() override;
  int32_t Reserved1() override;

  // Sends the status reply for `command`; a reply that cannot be sent is logged and forgotten.
  void SendStatus(INuvrelConnection* connection, NUVREL_WLC_CMD command, int status)
      EXCLUDES(gLock, mServiceLock, mPolicyLock);

  // --- service/lifecycle.cpp

  // Makes the service ready for commands; 1 when it already was. `packet` is not read. After a
  // failure, the next call reuses what this one had obtained.
  int32_t Init(NuvrelPkt* packet) override EXCLUDES(mServiceLock, mPolicyLock);
  // Gives everything back; always completes, and may be called at any time.
  void DeInit() override EXCLUDES(mServiceLock, mPolicyLock);

  // --- config/load_config.cpp

  // Reads the settings into mLinkConfig and builds mWpaCtrlPath; without a parser, drops the
  // settings.
  void LoadConfig() REQUIRES(mServiceLock, mPolicyLock);

  // --- link/link_settings.cpp

  // Put the driver into XR operation and back. Every step is tried, even after another has failed.
  int ApplyLinkSettings() EXCLUDES(mPolicyLock);
  int RevertLinkSettings() EXCLUDES(mPolicyLock);
  // Their driver commands; they need mLinkConfig.
  int ApplyWpaCliLinkConfiguration() REQUIRES(mPolicyLock);
  int RevertWpaCliLinkConfiguration() REQUIRES(mPolicyLock);

  // --- link/sysfs_link_configuration.cpp

  // Writes the unit_test_target node when disableRRA asks for it; needs mLinkConfig. -1 without a
  // node directory or interface name, -EBADF when the node cannot be opened, seeked or written,
  // -EAGAIN when the driver says to try again.
  int ApplySysfsLinkConfiguration() REQUIRES(mPolicyLock);
  // Nothing to revert: the driver keeps the values. Always 0.
  int RevertSysfsLinkConfiguration();

  // --- lapb/service_class_discovery.cpp

  // Learns both IP addresses and the driver's service classes, and enables the operations below.
  // Waits at most 1500 ms for each driver message.
  int InitLAPBFlow() EXCLUDES(mPolicyLock);
  // Adds the driver's service classes to mServiceIdMap.
  int UpdateServiceIDMap() REQUIRES(mPolicyLock);
  // Appends capture group 1 of every match of `pattern` in `text` to `groups`; whether there was
  // one. A text of more than 8192 bytes is not searched.
  bool ExtractInfoFromResponse(std::vector<std::string>& groups, std::string text,
                               std::string pattern);

  // --- lapb/service_class_creation.cpp

  // The lowest ID in 0 to 31 that no known service class has, or -1.
  int AssignServiceID() REQUIRES(mPolicyLock);
  // Creates a driver service class. `serviceId` is written on success only.
  int CreateServiceClass(int defaultDscp, int specialDscp, unsigned int latency,
                         unsigned char* serviceId) REQUIRES(mPolicyLock);

  // --- lapb/flow_policy_table.cpp

  // Binds the UDP flow on `portNum` to the service class for `latency`, creating the class with the
  // DSCP values of the two ToS bytes if there is none. A port that has a policy is re-bound.
  int AddLAPBPolicy(int portNum, unsigned char splToS, unsigned char defToS, unsigned int latency)
      EXCLUDES(mPolicyLock);
  // Removes the policy of one port. Not reachable by packet; for callers in the process.
  int DeleteLAPBFlowPolicy(int portNum) EXCLUDES(mPolicyLock);
  // Removes every policy; -1 when the driver refused one, which is forgotten all the same.
  int ClearLAPBPolicies() EXCLUDES(mPolicyLock);

  // Protected, not private, for the tests: a class derived from this one compares the state.
 protected:
  // --- service/dispatch.cpp

  // The operation behind `command`, with its parameters read from `request`.
  int RunCommand(NUVREL_WLC_CMD command, NuvrelPkt& request) EXCLUDES(mServiceLock, mPolicyLock);

  // --- service/lifecycle.cpp

  // Fills mServiceClient from the service client library, which then stays mapped for good.
  bool CreateDiscoveryClient() REQUIRES(mServiceLock, mPolicyLock);
  // Gives mServiceClient back.
  void ReleaseDiscoveryClient() REQUIRES(mServiceLock, mPolicyLock);

  // --- link/command_channel.cpp

  // The command exchange: formats one driver command into mCmdBuf, cut at 511 characters, and sends
  // it. Needs mWpaClient. The answer replaces `reply`; a negative result means that it is not to be
  // read. Logs nothing, throws nothing and never tries again.
  int ExecuteDriverCommand(std::string& reply, const char* format, ...)
      __attribute__((format(printf, 3, 4))) REQUIRES(mPolicyLock);

  // --- lapb/service_class_discovery.cpp

  // Part of the public operation of the same name, which it shares because `__func__` puts it into
  // the log. Adds the `svcCount` classes of the messages to come, each read into `message`.
  int UpdateServiceIDMap(uint32_t svcCount, std::string& message) REQUIRES(mPolicyLock);

  // --- lapb/flow_policy_table.cpp

  // Likewise; for DeInit, which goes on holding the lock: a policy added in between would outlive
  // it.
  int ClearLAPBPolicies(const std::lock_guard<std::mutex>& held) REQUIRES(mPolicyLock);

  // Five members are tested without their lock and so written by Set alone (service/lock_if_set.h):
  // mInitialized, mWpaClient, mServiceClient, mLinkConfig and mLapbSupported.
  //
  // --- service/: the instance, there while the count is 1 or more; guarded by gLock
  static WirelessLinkConfigService* gWLConfigService GUARDED_BY(gLock);
  static int32_t gRefCount GUARDED_BY(gLock);
  static std::mutex gLock;

  // --- given to the constructor, borrowed
  nuvrel::ConfigParser* mConfigParser;  // may be null
  INuvrelConnection* mConnection;       // kept for the framework: replies go to each packet's own

  // --- service/: lifecycle
  bool mInitialized GUARDED_BY(mServiceLock) = false;
  std::mutex mServiceLock ACQUIRED_AFTER(gLock);        // a whole Init or DeInit
  std::mutex mPolicyLock ACQUIRED_AFTER(mServiceLock);  // a whole operation on the driver
  LibraryLoader mLibLoader GUARDED_BY(mServiceLock);
  WpaCliWrapper* mWpaClient GUARDED_BY(mPolicyLock) = nullptr;      // the wrapper library's
  ServiceClient* mServiceClient GUARDED_BY(mPolicyLock) = nullptr;  // the client library's

  // --- config/
  std::string mWpaCtrlPath GUARDED_BY(mPolicyLock);

  // --- link/: the command exchange
  std::string mCmdReply GUARDED_BY(mPolicyLock);  // last answer to a flow policy operation
  char mCmdBuf[512] GUARDED_BY(mPolicyLock);      // cleared before each use

  // --- config/
  LinkConfiguration* mLinkConfig GUARDED_BY(mPolicyLock) = nullptr;  // owned, freed by DeInit

  // --- link/
  std::string mUnitTestTargetValue GUARDED_BY(mPolicyLock);  // last value written to the sysfs node

  // --- service/ (the name), lapb/ (the addresses)
  std::string mInterfaceName GUARDED_BY(mPolicyLock);
  std::string mSelfIpAddress GUARDED_BY(mPolicyLock);
  std::string mPeerIpAddress GUARDED_BY(mPolicyLock);

  // --- lapb/
  // Service class ID by buffer latency tolerance.
  std::unordered_map<uint32_t, uint8_t> mServiceIdMap GUARDED_BY(mPolicyLock);
  // Policy cookie by UDP port.
  std::unordered_map<int, std::string> mLapbPolicies GUARDED_BY(mPolicyLock);
  bool mLapbSupported GUARDED_BY(mPolicyLock) = false;
};

// service/instance.cpp
extern "C" {
// Stores the instance in `*service`, or null for lack of memory.
NUVREL_EXPORT void CreateWirelessLinkConfigService(void** service, void* params);
NUVREL_EXPORT int ReleaseWirelessLinkConfigService(void* service);
}
