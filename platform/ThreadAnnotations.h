#pragma once

// Clang's thread-safety attributes; other compilers see nothing.
#if defined(__clang__)
#define VMS_ATTRIBUTE(x) __attribute__((x))
#else
#define VMS_ATTRIBUTE(x)
#endif

#define VMS_CAPABILITY(name) VMS_ATTRIBUTE(capability(name))
#define VMS_SCOPED_CAPABILITY VMS_ATTRIBUTE(scoped_lockable)
#define VMS_GUARDED_BY(mutex) VMS_ATTRIBUTE(guarded_by(mutex))
#define VMS_PT_GUARDED_BY(mutex) VMS_ATTRIBUTE(pt_guarded_by(mutex))
#define VMS_REQUIRES(...) VMS_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define VMS_EXCLUDES(...) VMS_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define VMS_ACQUIRE(...) VMS_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define VMS_ACQUIRE_SHARED(...) VMS_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
#define VMS_RELEASE(...) VMS_ATTRIBUTE(release_capability(__VA_ARGS__))
#define VMS_RELEASE_GENERIC(...) VMS_ATTRIBUTE(release_generic_capability(__VA_ARGS__))
#define VMS_TRY_ACQUIRE(...) VMS_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define VMS_ACQUIRED_BEFORE(...) VMS_ATTRIBUTE(acquired_before(__VA_ARGS__))
#define VMS_NO_THREAD_SAFETY_ANALYSIS VMS_ATTRIBUTE(no_thread_safety_analysis)
