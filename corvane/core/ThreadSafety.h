#pragma once

// Names for clang's thread-safety analysis; empty for compilers without it. Attributes cannot be wrapped in functions.
// https://clang.llvm.org/docs/ThreadSafetyAnalysis.html

#if defined(__clang__)
#define CORVANE_THREAD_ANNOTATION(x) __attribute__((x))
#else
/// One attribute of the analysis.
#define CORVANE_THREAD_ANNOTATION(x)
#endif

#define CORVANE_CAPABILITY(name) CORVANE_THREAD_ANNOTATION(capability(name))  ///< a class that is a lock
/// A class that holds a lock for a scope.
#define CORVANE_SCOPED_CAPABILITY CORVANE_THREAD_ANNOTATION(scoped_lockable)
/// A field that is used only while the lock is held.
#define CORVANE_GUARDED_BY(mutex) CORVANE_THREAD_ANNOTATION(guarded_by(mutex))
/// A function that takes these locks.
#define CORVANE_ACQUIRE(...) CORVANE_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
/// A function that releases these locks.
#define CORVANE_RELEASE(...) CORVANE_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
/// A function that is called only while these locks are held.
#define CORVANE_REQUIRES(...) CORVANE_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
/// A function that is called only while these locks are not held.
#define CORVANE_EXCLUDES(...) CORVANE_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
/// A function that is not analysed.
#define CORVANE_NO_THREAD_SAFETY_ANALYSIS CORVANE_THREAD_ANNOTATION(no_thread_safety_analysis)
