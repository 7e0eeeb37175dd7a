#define LOG_TAG nullptr  // the loader's lines carry no tag

#include "service/library_loader.h"

#include <dlfcn.h>

#include "service/log.h"

namespace {

// The dynamic loader's message about its last failure; it may have none.
const char* LoaderError() {
  const char* text = dlerror();
  return text != nullptr ? text : "(null)";
}

}  // namespace

void* LibraryLoader::OpenLib(const std::string& name) {
  std::lock_guard<std::mutex> lock(mLoaderLock);
  const auto held = mHandles.find(name);
  if (held != mHandles.end()) {
    LOGI("Already Open lib - %s", name.c_str());
    ++mRefCounts[name];
    return held->second;
  }
  void* handle = dlopen(name.c_str(), RTLD_LAZY);
  if (handle != nullptr) {
    mHandles[name] = handle;
    mRefCounts[name] = 1;
  }
  return handle;
}

void* LibraryLoader::GetLibFunction(const std::string& name, const char* symbol) {
  LOG_ENTRY();
  void* function = nullptr;
  void* handle = OpenLib(name);
  if (handle == nullptr) {
    LOGE("%s() Failed to open %s %s", __func__, name.c_str(), LoaderError());
  } else {
    LOGD("%s: dlopen success", name.c_str());
    function = dlsym(handle, symbol);
    if (function == nullptr) {
      LOGE("[%s] Failed to find symbol %s %s\n", __func__, name.c_str(), LoaderError());
    } else {
      LOGD("%s -> %s(): dlsym success", name.c_str(), symbol);
    }
  }
  LOG_EXIT();
  return function;
}

void LibraryLoader::CloseLibHandle(const std::string& name) {
  LOG_ENTRY();
  std::lock_guard<std::mutex> lock(mLoaderLock);
  const auto held = mHandles.find(name);
  if (held != mHandles.end() && --mRefCounts[name] <= 0) {
    dlclose(held->second);
    mHandles.erase(held);
    mRefCounts.erase(name);
  }
  LOG_EXIT();
}
