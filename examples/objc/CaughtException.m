// SPDX-License-Identifier: Apache-2.0
#import "CaughtException.h"

NSException* caughtException(void (*function)(void*), void* context) {
  @try {
    function(context);
  } @catch (NSException* exception) {
    return [exception retain];
  }
  return nil;
}
