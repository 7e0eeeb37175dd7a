#include "host/runner/service_host.h"

#include <dlfcn.h>

#include <cstring>
#include <filesystem>
#include <system_error>

namespace host {
namespace {

constexpr char kLibraryName[] = "libnuvrelwirelesslinkconfigservice.so";
constexpr uint8_t kStatusMessage = 8;
constexpr uint8_t kStatusLength = 5;

std::string LastLoaderError() {
  const char* text = dlerror();
  return text != nullptr ? text : "no reason given";
}

NuvrelPkt_t MakeRequest(const Command& command, INuvrelConnection& connection) {
  NuvrelPkt_t request{};
  request.payload[0] = static_cast<uint8_t>(command.form->value);
  size_t offset = 1;
  for (size_t i = 0; i < command.form->parameters.size(); ++i) {
    // A signed and an unsigned parameter have the same 32 bits on the wire.
    const auto bits = static_cast<uint32_t>(command.values[i]);
    std::memcpy(request.payload + offset, &bits, sizeof(bits));
    offset += sizeof(bits);
  }
  request.payloadLen = static_cast<uint8_t>(offset);
  request.connection = &connection;
  return request;
}

}  // namespace

std::string DefaultLibraryPath() {
  std::error_code ignored;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", ignored);
  const std::filesystem::path top = program.parent_path().parent_path();
  const std::filesystem::path built = top / "lib" / kLibraryName;
  if (std::filesystem::exists(built, ignored)) {
    return built;
  }
  return top / WLC_INSTALL_LIBDIR / kLibraryName;
}

std::unique_ptr<ServiceHost> ServiceHost::Load(const std::string& library,
                                               nuvrel::ConfigParser& config, std::string& error) {
  std::unique_ptr<ServiceHost> host(new ServiceHost);
  host->mLibrary = dlopen(library.c_str(), RTLD_NOW);
  if (host->mLibrary == nullptr) {
    error = "cannot load the service: " + LastLoaderError() + "; name it with --library PATH";
    return nullptr;
  }
  const auto create =
      reinterpret_cast<CreateFn>(dlsym(host->mLibrary, "CreateWirelessLinkConfigService"));
  host->mRelease =
      reinterpret_cast<ReleaseFn>(dlsym(host->mLibrary, "ReleaseWirelessLinkConfigService"));
  if (create == nullptr || host->mRelease == nullptr) {
    error = library + " is not the service: it lacks an entry point (" + LastLoaderError() + ")";
    return nullptr;
  }
  ServiceCreateParams params{&host->mConnection, &config};
  create(&host->mService, &params);
  if (host->mService == nullptr) {
    error = library + " did not create a service";
    return nullptr;
  }
  return host;
}

ServiceHost::~ServiceHost() {
  if (mService != nullptr) {
    mRelease(mService);
  }
  if (mLibrary != nullptr) {
    dlclose(mLibrary);
  }
}

std::optional<int32_t> ServiceHost::Send(const Command& command) {
  NuvrelPkt_t request = MakeRequest(command, mConnection);
  mConnection.mReply.reset();
  static_cast<INuvrelService*>(mService)->OnPacket(&request);
  if (!mConnection.mReply || mConnection.mReply->msgType != kStatusMessage ||
      mConnection.mReply->payloadLen != kStatusLength ||
      mConnection.mReply->payload[0] != request.payload[0]) {
    return std::nullopt;
  }
  int32_t status = 0;
  std::memcpy(&status, mConnection.mReply->payload + 1, sizeof(status));
  return status;
}

int ServiceHost::ReplyConnection::SendPacket(NuvrelPkt_t* record, void* /*extra*/) {
  mReply = *record;
  return 0;
}

}  // namespace host
