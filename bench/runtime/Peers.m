// SPDX-License-Identifier: Apache-2.0
#import <Foundation/Foundation.h>
#include <stddef.h>
#include <stdint.h>

@interface Adder : NSObject {
  int64_t sum;
}
- (int64_t)add:(int64_t)number;
@end

@implementation Adder
- (int64_t)add:(int64_t)number {
  sum += number;
  return sum;
}
@end

int64_t peerSend(size_t times) {
  static Adder* adder = nil;
  if (!adder) adder = [Adder new];
  int64_t last = 0;
  while (times--) last = [adder add:1];
  return last;
}

int64_t peerInvocation(size_t times) {
  static Adder* adder = nil;
  if (!adder) adder = [Adder new];
  int64_t last = 0;
  while (times--) {
    NSAutoreleasePool* pool = [NSAutoreleasePool new];
    NSMethodSignature* signature = [Adder instanceMethodSignatureForSelector:@selector(add:)];
    NSInvocation* invocation = [NSInvocation invocationWithMethodSignature:signature];
    int64_t one = 1;
    [invocation setTarget:adder];
    [invocation setSelector:@selector(add:)];
    [invocation setArgument:&one atIndex:2];
    [invocation invoke];
    [invocation getReturnValue:&last];
    [pool release];
  }
  return last;
}
