/* Names for clang's thread-safety attributes; other compilers see nothing. */
#ifndef PLATFORM_THREAD_ANNOTATIONS_H
#define PLATFORM_THREAD_ANNOTATIONS_H

#if defined(__clang__)
#define WD_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define WD_THREAD_ATTRIBUTE(x)
#endif

#define WD_CAPABILITY(name) WD_THREAD_ATTRIBUTE(capability(name))
#define WD_SCOPED_CAPABILITY WD_THREAD_ATTRIBUTE(scoped_lockable)
#define WD_GUARDED_BY(lock) WD_THREAD_ATTRIBUTE(guarded_by(lock))
#define WD_PT_GUARDED_BY(lock) WD_THREAD_ATTRIBUTE(pt_guarded_by(lock))
#define WD_REQUIRES(...) WD_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define WD_REQUIRES_SHARED(...) WD_THREAD_ATTRIBUTE(requires_shared_capability(__VA_ARGS__))
#define WD_ACQUIRE(...) WD_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define WD_ACQUIRE_SHARED(...) WD_THREAD_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
#define WD_RELEASE(...) WD_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define WD_RELEASE_SHARED(...) WD_THREAD_ATTRIBUTE(release_shared_capability(__VA_ARGS__))
#define WD_TRY_ACQUIRE(...) WD_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define WD_EXCLUDES(...) WD_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define WD_NO_THREAD_SAFETY_ANALYSIS WD_THREAD_ATTRIBUTE(no_thread_safety_analysis)

#endif
