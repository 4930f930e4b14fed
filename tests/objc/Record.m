// SPDX-License-Identifier: Apache-2.0
#import "Record.h"

// In the order of the archive.
static NSString* const kKeys =
    @"a_s i_s g_s in_s le_s p_f_s d_t #i_d_e #p_f_t #dt_s_t #u_a_c_t #s_i_d b_e f_e d_t_w_e src_ext b_uid_r "
     "?d_t_opt_out ?user_push_opt_out ?user_inapp_opt_out #e_b_c d_r_r le_tkn";

@implementation TWConfig
@synthesize fields;

- (void)encodeWithCoder:(NSCoder*)coder {
  for (NSString* name in [kKeys componentsSeparatedByString:@" "]) {
    NSString* key =
        [name stringByTrimmingCharactersInSet:[NSCharacterSet characterSetWithCharactersInString:@"#?"]];
    id value = [fields objectForKey:key];
    if ([name hasPrefix:@"#"])
      [coder encodeInteger:[value integerValue] forKey:key];
    else if ([name hasPrefix:@"?"])
      [coder encodeBool:[value boolValue] forKey:key];
    else
      [coder encodeObject:value forKey:key];
  }
}

- (id)initWithCoder:(NSCoder*)coder {
  fields = [NSMutableDictionary new];
  for (NSString* name in [kKeys componentsSeparatedByString:@" "]) {
    NSString* key =
        [name stringByTrimmingCharactersInSet:[NSCharacterSet characterSetWithCharactersInString:@"#?"]];
    id value = [name hasPrefix:@"#"]   ? [NSNumber numberWithLongLong:[coder decodeIntegerForKey:key]]
               : [name hasPrefix:@"?"] ? [NSNumber numberWithBool:[coder decodeBoolForKey:key]]
                                       : [coder decodeObjectForKey:key];
    if (value != nil) [fields setObject:value forKey:key];
  }
  return self;
}
@end
