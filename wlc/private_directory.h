// A directory that only this user can enter. It is removed with its contents. One at a time.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>

#include "emulated_driver/refusal.h"

class PrivateDirectory {
 public:
  PrivateDirectory() {
    const std::lock_guard lock(sLock);
    const char* const directory = std::getenv("TMPDIR");
    std::string path = directory != nullptr && *directory != '\0' ? directory : "/tmp";
    if (mkdtemp(path.append("/wlc-XXXXXX").data()) == nullptr) {
      throw Refusal(
          "cannot make a private directory for the emulated driver's socket: {}: check TMPDIR",
          std::strerror(errno));
    }
    sPath = path;
  }
  ~PrivateDirectory() { Remove(); }
  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;

  const std::string& Path() const { return sPath; }

  // Removes the directory, if there is one. For a process that ends without the destructor.
  static void Remove() {
    const std::lock_guard lock(sLock);
    std::error_code ignored;
    std::filesystem::remove_all(sPath, ignored);
  }

 private:
  inline static std::mutex sLock;
  inline static std::string sPath;  // written under sLock
};
