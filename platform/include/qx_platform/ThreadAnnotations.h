#pragma once

// Clang's thread-safety attributes, so that `-Wthread-safety` can check which lock guards which
// field. Other compilers see nothing.
#if defined(__clang__)
#define QXP_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define QXP_THREAD_ANNOTATION(x)
#endif

#define QXP_CAPABILITY(name) QXP_THREAD_ANNOTATION(capability(name))
#define QXP_SCOPED_CAPABILITY QXP_THREAD_ANNOTATION(scoped_lockable)
#define QXP_GUARDED_BY(lock) QXP_THREAD_ANNOTATION(guarded_by(lock))
#define QXP_PT_GUARDED_BY(lock) QXP_THREAD_ANNOTATION(pt_guarded_by(lock))
#define QXP_ACQUIRE(...) QXP_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define QXP_ACQUIRE_SHARED(...) QXP_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define QXP_RELEASE(...) QXP_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define QXP_RELEASE_GENERIC(...) QXP_THREAD_ANNOTATION(release_generic_capability(__VA_ARGS__))
#define QXP_REQUIRES(...) QXP_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define QXP_EXCLUDES(...) QXP_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define QXP_NO_THREAD_SAFETY_ANALYSIS QXP_THREAD_ANNOTATION(no_thread_safety_analysis)
