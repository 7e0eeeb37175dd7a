// The command exchange: the one way to the driver.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "service/wireless_link_config_service.h"

int WirelessLinkConfigService::ExecuteDriverCommand(std::string& reply, const char* format,
                                                    ...) try {
  std::memset(mCmdBuf, 0, sizeof(mCmdBuf));
  va_list arguments;
  va_start(arguments, format);
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the analyzer does not know this va_start
  std::vsnprintf(mCmdBuf, sizeof(mCmdBuf), format, arguments);
  va_end(arguments);
  return mWpaClient->ExecuteCommand(std::string(mCmdBuf), std::string(), reply, 0);
} catch (...) {
  return -1;  // no memory: this exchange has failed, and its caller goes on with the others
}
