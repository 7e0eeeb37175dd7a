#include "host/wpa_cli_wrapper/idle_reader.h"

#include <pthread.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <thread>

namespace host {
namespace {

constexpr auto kInterval = std::chrono::milliseconds(50);

// A thread that the process's signals do not reach: they are for those that know what to do.
template <typename Work>
std::thread ThreadWithoutSignals(Work work) {
  sigset_t all{};
  sigset_t before{};
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread thread;
  try {
    thread = std::thread(work);
  } catch (...) {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    throw;
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

class IdleReader {
 public:
  ~IdleReader() {
    {
      const std::lock_guard<std::mutex> lock(mLock);
      mEnding = true;
    }
    mChanged.notify_one();
    if (mThread.joinable()) {
      mThread.join();
    }
  }

  void Watch(const std::shared_ptr<MessageCollector>& listener) {
    const std::lock_guard<std::mutex> lock(mLock);
    if (!mThread.joinable()) {
      mThread = ThreadWithoutSignals([this] { Run(); });
    }
    mListener = listener;
    if (mResting) {
      mChanged.notify_one();
    }
  }

 private:
  void Run() {
    std::unique_lock<std::mutex> lock(mLock);
    while (!mEnding) {
      auto listener = mListener.lock();
      if (!listener) {
        mResting = true;
        mChanged.wait(lock);
        mResting = false;
        continue;
      }
      lock.unlock();
      listener->Collect();
      listener.reset();
      lock.lock();
      mChanged.wait_for(lock, kInterval, [this] { return mEnding; });
    }
  }

  std::mutex mLock;
  std::condition_variable mChanged;
  std::weak_ptr<MessageCollector> mListener;
  bool mResting = false;  // without a listener, until it is told of one
  bool mEnding = false;
  std::thread mThread;
};

}  // namespace

void CollectWhenIdle(const std::shared_ptr<MessageCollector>& listener) {
  static IdleReader reader;
  reader.Watch(listener);
}

}  // namespace host
