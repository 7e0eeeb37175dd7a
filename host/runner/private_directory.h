// A directory that only this user can enter, removed with all that it holds.
#ifndef NUVREL_HOST_RUNNER_PRIVATE_DIRECTORY_H_
#define NUVREL_HOST_RUNNER_PRIVATE_DIRECTORY_H_

#include <cstdlib>
#include <filesystem>
#include <string>

#include "host/refusal.h"

namespace host {

class PrivateDirectory {
 public:
  PrivateDirectory() {
    std::error_code failed;
    mPath = (std::filesystem::temp_directory_path(failed) / "wlc-XXXXXX").string();
    if (failed || mkdtemp(mPath.data()) == nullptr) {
      throw Refusal(
          "cannot make a private directory for the emulated driver's socket: check TMPDIR");
    }
  }
  ~PrivateDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
  }
  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;

  const std::string& Path() const { return mPath; }

 private:
  std::string mPath;
};

}  // namespace host

#endif  // NUVREL_HOST_RUNNER_PRIVATE_DIRECTORY_H_
