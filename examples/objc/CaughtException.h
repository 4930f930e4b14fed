// SPDX-License-Identifier: Apache-2.0
#pragma once

#import <Foundation/Foundation.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Calls a function. Returns the `NSException` that it raised, retained, or nil. C++ exceptions pass through.
///
/// In a file of its own, in plain Objective-C: `@catch` in a file that gcc compiles as Objective-C++ crashes.
NSException* caughtException(void (*function)(void*), void* context);

#ifdef __cplusplus
}
#endif
