// Annotations that name the lock of a member or a function. Clang checks them (-Wthread-safety),
// and other compilers ignore them.
#pragma once

#if defined(__clang__)
#define ORLA_ATTRIBUTE(x) __attribute__((x))
#else
#define ORLA_ATTRIBUTE(x)
#endif

#define ORLA_CAPABILITY(name) ORLA_ATTRIBUTE(capability(name))
#define ORLA_SCOPED_CAPABILITY ORLA_ATTRIBUTE(scoped_lockable)
#define ORLA_GUARDED_BY(lock) ORLA_ATTRIBUTE(guarded_by(lock))
#define ORLA_REQUIRES(...) ORLA_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ORLA_ACQUIRE(...) ORLA_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define ORLA_RELEASE(...) ORLA_ATTRIBUTE(release_capability(__VA_ARGS__))
#define ORLA_TRY_ACQUIRE(...) ORLA_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define ORLA_NO_ANALYSIS ORLA_ATTRIBUTE(no_thread_safety_analysis)
