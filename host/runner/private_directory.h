// A directory that only this user can enter, removed with all that it holds. One at a time.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <mutex>

#include "host/refusal.h"

class PrivateDirectory {
 public:
  PrivateDirectory() {
    const std::lock_guard lock(sLock);
    std::error_code failed;
    std::string path = (std::filesystem::temp_directory_path(failed) / "wlc-XXXXXX").string();
    if (failed || mkdtemp(path.data()) == nullptr) {
      throw Refusal(
          "cannot make a private directory for the emulated driver's socket: check TMPDIR");
    }
    sPath = path;
  }
  ~PrivateDirectory() { Remove(); }
  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;

  const std::string& Path() const { return sPath; }

  // Removes the directory, if there is one: also for a process that ends without destroying it.
  static void Remove() {
    const std::lock_guard lock(sLock);
    std::error_code ignored;
    std::filesystem::remove_all(sPath, ignored);
  }

 private:
  inline static std::mutex sLock;
  inline static std::string sPath;  // written under sLock, by the one that there is
};
