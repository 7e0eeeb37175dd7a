// A directory that only this user can enter, removed with all that it holds.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <set>
#include <string>

#include "host/refusal.h"

class PrivateDirectory {
 public:
  PrivateDirectory() {
    const std::lock_guard lock(sLock);
    std::error_code failed;
    mPath = (std::filesystem::temp_directory_path(failed) / "wlc-XXXXXX").string();
    if (failed || mkdtemp(mPath.data()) == nullptr) {
      throw Refusal(
          "cannot make a private directory for the emulated driver's socket: check TMPDIR");
    }
    sPaths.insert(mPath);
  }
  ~PrivateDirectory() {
    const std::lock_guard lock(sLock);
    sPaths.erase(mPath);
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
  }
  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;

  const std::string& Path() const { return mPath; }

  // For a process that ends without destroying them.
  static void RemoveAll() {
    const std::lock_guard lock(sLock);
    for (const std::string& path : sPaths) {
      std::error_code ignored;
      std::filesystem::remove_all(path, ignored);
    }
  }

 private:
  inline static std::mutex sLock;
  inline static std::set<std::string> sPaths;  // guarded by sLock

  std::string mPath;
};
