#pragma once

/// Marks what the shared library exports. Everything else has hidden visibility, so that the names of the
/// library and of the libraries compiled into it never meet the host's own.
#if defined(__GNUC__) || defined(__clang__)
#define TIDEWELL_EXPORT __attribute__((visibility("default")))
#else
#define TIDEWELL_EXPORT
#endif
