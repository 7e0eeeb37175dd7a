// What will be refused waits for nobody: an operation first tests what it needs, without a lock.
//
// A driver command may take seconds, and a platform library may wait for a thread of its own that
// is inside OnPacket. So an operation that lacks a handle, the settings or the flow policies fails
// before it takes the lock that the other one holds. Such an operation begins with
//
//   if (!LockIfSet(mPolicyLock, &mWpaClient, &mLapbSupported)) {
//     ...  // its own message
//     return -1;
//   }
//   std::lock_guard<std::mutex> lock(mPolicyLock, std::adopt_lock);
//
// The members so tested are pointers and bools that one lock guards. They are written by Set alone,
// under that lock; any other write is a data race. Under the lock they are read as usual.
#pragma once

#include <mutex>
#include <type_traits>

#include "framework/thread_annotations.h"

// The value at this moment, for use without the lock. It may change at once: never follow a pointer
// that was read like this.
template <typename T>
T Peek(const T* member) {
  return __atomic_load_n(member, __ATOMIC_RELAXED);
}

template <typename T>
void Set(T& member, std::type_identity_t<T> value) {
  __atomic_store_n(&member, value, __ATOMIC_RELAXED);
}

// Whether all of `needed` are set (true, not null). If so, `lock` has been taken, and they stay set
// for as long as it is held; if not, it has not. They are tested once more with the lock held,
// since Init or DeInit may have changed them during the wait for it.
template <typename... Needed>
[[nodiscard]] bool LockIfSet(std::mutex& lock, const Needed*... needed) TRY_ACQUIRE(true, lock) {
  if (!(... && Peek(needed))) {
    return false;
  }
  lock.lock();
  if ((... && Peek(needed))) {
    return true;
  }
  lock.unlock();
  return false;
}
