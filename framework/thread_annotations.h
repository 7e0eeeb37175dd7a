// Locks that the compiler checks: clang's thread safety attributes, empty for other compilers.
//
// They bite with libc++, whose std::mutex carries the attributes, under
// -D_LIBCPP_ENABLE_THREAD_SAFETY_ANNOTATIONS -Wthread-safety; the order of locks, ACQUIRED_AFTER,
// under -Wthread-safety-beta as well.
#pragma once

#if defined(__clang__) && defined(_LIBCPP_ENABLE_THREAD_SAFETY_ANNOTATIONS)
#define NUVREL_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define NUVREL_THREAD_ANNOTATION(x)
#endif

#define GUARDED_BY(lock) NUVREL_THREAD_ANNOTATION(guarded_by(lock))
#define REQUIRES(...) NUVREL_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) NUVREL_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define EXCLUDES(...) NUVREL_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRED_AFTER(...) NUVREL_THREAD_ANNOTATION(acquired_after(__VA_ARGS__))
