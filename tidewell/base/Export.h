// SPDX-License-Identifier: Apache-2.0
#pragma once

// Every public header includes this one.
#if !defined(__cplusplus) || __cplusplus < 202002L
#error \
    "Tidewell Core needs C++20 or later: compile with -std=c++20, or in CMake set CMAKE_CXX_STANDARD to 20."
#endif

/// Marks the symbols that the shared library exports. All others have hidden visibility, so that names of the
/// library and of the libraries linked into it cannot clash with the host's.
#if defined(__GNUC__) || defined(__clang__)
#define TIDEWELL_EXPORT __attribute__((visibility("default")))
#else
#define TIDEWELL_EXPORT
#endif
