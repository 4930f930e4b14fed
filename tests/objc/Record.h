// SPDX-License-Identifier: Apache-2.0
#import <Foundation/Foundation.h>

/// The configuration record as an application in Objective-C archives it, independent of the library.
@interface TWConfig : NSObject <NSCoding> {
  NSMutableDictionary* fields;
}
/// The keys of an archive and their values; a key without an object is missing.
@property(nonatomic, retain) NSMutableDictionary* fields;
@end

typedef TWConfig PeerRecord;  // the archives name the class TWConfig, as the library names its own
