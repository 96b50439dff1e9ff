// Clang's thread-safety attributes, for the library's own code: a lock is a capability,
// fields name the lock that guards them, and functions the locks they need. The clang
// builds check them (-Wthread-safety, an error like every warning); other compilers see
// nothing.
//
//   int _count GUARDED_BY(globalLock()) = 0;
//   void bump() REQUIRES(globalLock()) { ++_count; }
#ifndef PELORIN_SRC_BASE_THREAD_ANNOTATIONS_H_
#define PELORIN_SRC_BASE_THREAD_ANNOTATIONS_H_

#if defined(__clang__)
#define PELORIN_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define PELORIN_THREAD_ANNOTATION(x)
#endif

// NOLINTBEGIN(cppcoreguidelines-macro-usage): attributes can only be spelled as macros
#define CAPABILITY(x) PELORIN_THREAD_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY PELORIN_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) PELORIN_THREAD_ANNOTATION(guarded_by(x))
#define PT_GUARDED_BY(x) PELORIN_THREAD_ANNOTATION(pt_guarded_by(x))
#define REQUIRES(...) PELORIN_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) PELORIN_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) PELORIN_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define EXCLUDES(...) PELORIN_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ASSERT_CAPABILITY(x) PELORIN_THREAD_ANNOTATION(assert_capability(x))
#define RETURN_CAPABILITY(x) PELORIN_THREAD_ANNOTATION(lock_returned(x))
#define NO_THREAD_SAFETY_ANALYSIS PELORIN_THREAD_ANNOTATION(no_thread_safety_analysis)
// NOLINTEND(cppcoreguidelines-macro-usage)

#endif  // PELORIN_SRC_BASE_THREAD_ANNOTATIONS_H_
