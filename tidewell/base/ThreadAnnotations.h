// SPDX-License-Identifier: Apache-2.0
#pragma once

// Annotations for Clang's thread-safety analysis (-Wthread-safety): which lock guards which data, and which
// functions require a lock. Empty for other compilers.
// https://clang.llvm.org/docs/ThreadSafetyAnalysis.html

#if defined(__clang__)
#define TIDEWELL_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define TIDEWELL_THREAD_ANNOTATION(x)
#endif

/// A lock class.
#define TIDEWELL_CAPABILITY TIDEWELL_THREAD_ANNOTATION(capability("mutex"))
/// A class that holds a lock from construction to destruction.
#define TIDEWELL_SCOPED_CAPABILITY TIDEWELL_THREAD_ANNOTATION(scoped_lockable)
/// Data that may be used only with the lock held.
#define TIDEWELL_GUARDED_BY(lock) TIDEWELL_THREAD_ANNOTATION(guarded_by(lock))
/// A function that requires the locks to be held.
#define TIDEWELL_REQUIRES(...) TIDEWELL_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
/// A function that must be called without holding the locks.
#define TIDEWELL_EXCLUDES(...) TIDEWELL_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define TIDEWELL_ACQUIRE(...) TIDEWELL_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define TIDEWELL_TRY_ACQUIRE(...) TIDEWELL_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define TIDEWELL_RELEASE(...) TIDEWELL_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TIDEWELL_RETURN_CAPABILITY(lock) TIDEWELL_THREAD_ANNOTATION(lock_returned(lock))
/// A function that the analysis cannot follow; a comment there says why it is correct.
#define TIDEWELL_NO_THREAD_SAFETY_ANALYSIS TIDEWELL_THREAD_ANNOTATION(no_thread_safety_analysis)
