// Opens shared libraries at run time, each once, and counts who holds it open.
//
// Used for libnuvrelservice_client.so and its two factory functions. The loader closes a library
// when the last open is dropped and never on its own destruction. Its log lines carry a null tag.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "framework/thread_annotations.h"

class LibraryLoader {
 public:
  // The handle of library file `name`, as dlopen finds it, or null. Each success counts one open,
  // which CloseLibHandle drops.
  void* OpenLib(const std::string& name) EXCLUDES(mLoaderLock);

  // The address of `symbol` in library `name`, or null. It opens the library; that open stays
  // counted, also when the symbol is missing.
  void* GetLibFunction(const std::string& name, const char* symbol) EXCLUDES(mLoaderLock);

  // Drops one open; the last one closes the library. A name that is not held is ignored.
  void CloseLibHandle(const std::string& name) EXCLUDES(mLoaderLock);

 protected:
  // A name is in both maps or in neither; its handle is not null and its count at least 1.
  std::map<std::string, void*> mHandles GUARDED_BY(mLoaderLock);
  std::map<std::string, int32_t> mRefCounts GUARDED_BY(mLoaderLock);
  std::mutex mLoaderLock;
};
