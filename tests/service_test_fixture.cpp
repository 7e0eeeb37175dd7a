#include "tests/service_test_fixture.h"

#include <android/log.h>

#include <cstring>
#include <regex>

namespace {

std::mutex gLogLock;
Lines gLog;

void Capture(const __android_logger_data* data, const char* message) {
  static const std::regex kSourceLine(R"((\[\w+:)\d+\])");
  const std::string tag = data->tag;
  const std::string text = std::regex_replace(message, kSourceLine, "$1#]");
  const std::lock_guard<std::mutex> lock(gLogLock);
  gLog.push_back("??VDIWEF"[data->priority] +
                 (tag == "libnuvrelwirelesslinkconfigservice.so" ? "" : tag) + " " + text);
}

}  // namespace

Lines TakeLog(const std::string& levels) {
  const std::lock_guard<std::mutex> lock(gLogLock);
  std::erase_if(gLog, [&](const auto& line) { return levels.find(line[0]) == std::string::npos; });
  return std::exchange(gLog, {});
}

NuvrelPkt_t Request(uint8_t command, INuvrelConnection* connection,
                    const std::vector<uint32_t>& parameters) {
  NuvrelPkt_t request;
  std::memset(&request, 0xEE, sizeof(request));
  request.msgType = 0x5A;
  request.payload[0] = command;
  std::memcpy(request.payload + 1, parameters.data(), parameters.size() * sizeof(uint32_t));
  request.connection = connection;
  return request;
}

Rig::Rig() {
  __android_log_set_logger(Capture);
  __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
  __android_log_set_default_tag("-");
  gNuvrelLogLevel = 15;
  TakeLog();
}

int Rig::Send(uint8_t command, const std::vector<uint32_t>& parameters) {
  connection.sent.clear();
  NuvrelPkt_t request = Request(command, &connection, parameters);
  const int status = service.OnPacket(&request);
  uint8_t expected[320] = {8, 0, 5, 0, command};
  std::memcpy(expected + 5, &status, sizeof(status));
  expected[259] = 1;
  std::memset(expected + 272, 0xFF, 4);
  EXPECT_EQ(connection.sent.size(), 1U);
  EXPECT_EQ(std::memcmp(connection.sent.data(), expected, sizeof(expected)), 0);
  return status;
}

void Rig::GetReady() {
  platform.events = {"<3>SVC-EVENT: svc_count:1", "<3>SVC-EVENT: (heading) (3, 20, 46, 40)"};
  EXPECT_EQ(Send(kInit), 0);
  EXPECT_EQ(Send(kInitFlows), 0);
  TakeLog();
  TakeCalls();
}

std::string Rig::State() {
  std::string state = service.mServiceClient != nullptr ? "client " : "";
  state += service.mWpaClient != nullptr ? "handle " : "";
  state += service.mLinkConfig != nullptr ? "config " : "";
  state += service.mInitialized ? "ready " : "";
  state += service.mLapbSupported ? "flows " : "";
  auto& opens = service.mLibLoader.*(&LoaderUnderTest::mRefCounts);
  const auto held = opens.find(kClientLibrary);
  return state + service.mInterfaceName +
         " opens:" + std::to_string(held == opens.end() ? 0 : held->second);
}

std::string Rig::Classes() {
  std::string text;
  for (const auto& [latency, id] :
       std::map<uint32_t, int>(service.mServiceIdMap.begin(), service.mServiceIdMap.end())) {
    text += std::to_string(latency) + ":" + std::to_string(id) + " ";
  }
  return text;
}

std::string Rig::Policies() {
  std::string text;
  for (const auto& [port, cookie] :
       std::map<int, std::string>(service.mLapbPolicies.begin(), service.mLapbPolicies.end())) {
    text += std::to_string(port) + "=" + cookie + " ";
  }
  return text;
}
