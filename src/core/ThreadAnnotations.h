// SPDX-License-Identifier: Apache-2.0
#pragma once

// Clang's thread-safety attributes; nothing under other compilers.
#if defined(__clang__)
#define CORVANTA_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define CORVANTA_THREAD_ATTRIBUTE(x)
#endif

#define CAPABILITY(x) CORVANTA_THREAD_ATTRIBUTE(capability(x))
#define SCOPED_CAPABILITY CORVANTA_THREAD_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(x) CORVANTA_THREAD_ATTRIBUTE(guarded_by(x))
#define REQUIRES(...) CORVANTA_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) CORVANTA_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) CORVANTA_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define EXCLUDES(...) CORVANTA_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
