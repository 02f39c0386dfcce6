// Which lock guards what, in a form that Clang checks at compile time (-Wthread-safety; the preset
// clang). Other compilers see nothing.
#ifndef ZOCAM_CORE_THREAD_SAFETY_H
#define ZOCAM_CORE_THREAD_SAFETY_H

#ifdef __clang__
#define ZO_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define ZO_THREAD_SAFETY(attribute)
#endif

// Of types: a lock; something that holds one for a scope.
#define ZO_LOCK ZO_THREAD_SAFETY(capability("mutex"))
#define ZO_SCOPED_LOCK ZO_THREAD_SAFETY(scoped_lockable)

// Of fields: the lock to hold while the field is used.
#define ZO_GUARDED_BY(lock) ZO_THREAD_SAFETY(guarded_by(lock))

// Of functions: the lock that the caller holds; that it takes; that it lets go.
#define ZO_HOLDS(lock) ZO_THREAD_SAFETY(requires_capability(lock))
#define ZO_TAKES(...) ZO_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define ZO_LETS_GO(...) ZO_THREAD_SAFETY(release_capability(__VA_ARGS__))
// Not checked inside: what holds a lock in a way that the checker does not see.
#define ZO_UNCHECKED ZO_THREAD_SAFETY(no_thread_safety_analysis)

#endif
