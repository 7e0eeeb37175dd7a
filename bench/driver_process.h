// The emulated driver in a process of its own: `wlc driver` on a control socket in a private
// directory, gone with this object or, should that die first, with this process.
//
//   DriverProcess driver;
//   host::AskDriverStatus(driver.SocketPath(), lines);
//   wpa_cli -p <driver.Directory()> -i wlan0 raw DRIVER SET_LATENCY_MODE 2
#ifndef NUVREL_BENCH_DRIVER_PROCESS_H_
#define NUVREL_BENCH_DRIVER_PROCESS_H_

#include <sys/types.h>

#include <string>

#include "host/runner/private_directory.h"

namespace bench {

class DriverProcess {
 public:
  // Ends the program unless the driver answers within 10 seconds.
  DriverProcess();
  ~DriverProcess();
  DriverProcess(const DriverProcess&) = delete;
  DriverProcess& operator=(const DriverProcess&) = delete;

  const std::string& Directory() const { return mDirectory.Path(); }
  std::string SocketPath() const { return Directory() + "/wlan0"; }

 private:
  host::PrivateDirectory mDirectory;
  pid_t mProcess = -1;
};

}  // namespace bench

#endif  // NUVREL_BENCH_DRIVER_PROCESS_H_
