// Which lock guards what, said in a form that a clang pass checks (-Wthread-safety). Empty under other compilers.
#pragma once

#ifdef __clang__
#define KESTRINE_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define KESTRINE_THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(name) KESTRINE_THREAD_ANNOTATION(capability(name))
#define SCOPED_CAPABILITY KESTRINE_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(lock) KESTRINE_THREAD_ANNOTATION(guarded_by(lock))
#define REQUIRES(...) KESTRINE_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) KESTRINE_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) KESTRINE_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) KESTRINE_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
