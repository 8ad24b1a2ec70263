#pragma once

/// Says which mutex guards what, for clang's thread-safety analysis. `.clang-tidy` switches it on, together with
/// the annotations of Boost's mutexes and of its lock_guard; for every other compilation there is nothing here.
#if defined(__clang__) && defined(BOOST_THREAD_ENABLE_THREAD_SAFETY_ANALYSIS)
#define SERVICEMUX_ANALYSED(attribute) __attribute__((attribute))
#else
#define SERVICEMUX_ANALYSED(attribute)
#endif

// Of a member: touched only while the mutex is held; and of a mutex: never locked while a later one is held.
#define SERVICEMUX_GUARDED_BY(mutex) SERVICEMUX_ANALYSED(guarded_by(mutex))
#define SERVICEMUX_ACQUIRED_BEFORE(...) SERVICEMUX_ANALYSED(acquired_before(__VA_ARGS__))

// Of a function: called only while the mutexes are held, or only while they are not.
#define SERVICEMUX_REQUIRES(...) SERVICEMUX_ANALYSED(requires_capability(__VA_ARGS__))
#define SERVICEMUX_EXCLUDES(...) SERVICEMUX_ANALYSED(locks_excluded(__VA_ARGS__))

// Of a mutex's type, of a type that holds mutexes while it lives, and of that type's constructor and destructor.
#define SERVICEMUX_MUTEX SERVICEMUX_ANALYSED(capability("mutex"))
#define SERVICEMUX_SCOPED_LOCK SERVICEMUX_ANALYSED(scoped_lockable)
#define SERVICEMUX_ACQUIRE(...) SERVICEMUX_ANALYSED(acquire_capability(__VA_ARGS__))
#define SERVICEMUX_RELEASE() SERVICEMUX_ANALYSED(release_capability())

// Of a function that the analysis cannot follow; its comment says why it is right.
#define SERVICEMUX_NOT_ANALYSED SERVICEMUX_ANALYSED(no_thread_safety_analysis)
