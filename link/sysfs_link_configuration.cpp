// The driver's unit_test_target node in sysfs.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "service/log.h"
#include "service/wireless_link_config_service.h"

namespace {

// Unit-test commands of the driver: decimal numbers, of which the second counts those behind it.
constexpr const char* kUnitTestTargetValues[] = {"10 2 42 0", "10 3 47 0 0", "10 3 47 1 0"};

}  // namespace

int WirelessLinkConfigService::ApplySysfsLinkConfiguration() {
  if (!mLinkConfig->disableRRA) {
    return 0;
  }
  if (mLinkConfig->wlanUnitTestTargetNode.empty()) {
    LOGW("[%s:%d] Unit test target node is empty", NUVREL_HERE);
    return -1;
  }
  if (mInterfaceName.empty()) {
    LOGW("[%s:%d] WLAN interface not specified", NUVREL_HERE);
    return -1;
  }
  const std::string path =
      mLinkConfig->wlanUnitTestTargetNode + "/" + mInterfaceName + "/unit_test_target";
  const int fd = open(path.c_str(), O_WRONLY);
  if (fcntl(fd, F_GETFD) < 0 && errno == EBADF) {
    LOGW("[%s:%d] bad fd", NUVREL_HERE);
    return -EBADF;
  }
  if (lseek(fd, 0, SEEK_SET) < 0) {
    LOGW("[%s:%d] Failed to seek", NUVREL_HERE);
    close(fd);
    return -EBADF;
  }
  for (const char* value : kUnitTestTargetValues) {
    mUnitTestTargetValue = value;
    if (write(fd, mUnitTestTargetValue.data(), mUnitTestTargetValue.size()) < 0) {
      const int error = errno;
      LOGW("[%s:%d] error writing sysfs node %s with %s", NUVREL_HERE, strerror(error),
           mUnitTestTargetValue.c_str());
      if (error == EAGAIN) {
        LOGW("[%s:%d] Failed reading Timer", NUVREL_HERE);
      }
      close(fd);
      return error == EAGAIN ? -EAGAIN : -EBADF;
    }
    LOGI("[%s:%d] : set unit test target values = %s", NUVREL_HERE, mUnitTestTargetValue.c_str());
  }
  close(fd);
  return 0;
}

int WirelessLinkConfigService::RevertSysfsLinkConfiguration() { return 0; }
