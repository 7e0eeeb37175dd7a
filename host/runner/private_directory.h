// A directory of this process alone, for a control socket, removed with all it holds.
#ifndef NUVREL_HOST_RUNNER_PRIVATE_DIRECTORY_H_
#define NUVREL_HOST_RUNNER_PRIVATE_DIRECTORY_H_

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace host {

class PrivateDirectory {
 public:
  PrivateDirectory() {
    std::error_code failed;
    const std::filesystem::path parent = std::filesystem::temp_directory_path(failed);
    mPath = (parent / "wlc-XXXXXX").string();
    if (failed || mkdtemp(mPath.data()) == nullptr) {
      mPath.clear();
    }
  }
  ~PrivateDirectory() {
    std::error_code ignored;
    if (!mPath.empty()) {
      std::filesystem::remove_all(mPath, ignored);
    }
  }
  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;

  // Empty when it could not be made.
  const std::string& Path() const { return mPath; }

 private:
  std::string mPath;
};

}  // namespace host

#endif  // NUVREL_HOST_RUNNER_PRIVATE_DIRECTORY_H_
