// SPDX-License-Identifier: Apache-2.0
// Sanitizer options of every test program. Linked into sanitized builds only.

extern "C" {

const char* __tsan_default_suppressions();
const char* __tsan_default_suppressions() {
  // ICU and OpenSSL are not built with ThreadSanitizer, which therefore misses the synchronisation of their
  // one-time initialisation and exit clean-up.
  return "race:libicuuc.so\n"
         "race:libicui18n.so\n"
         "race:libcrypto.so\n";
}

const char* __tsan_default_options();
const char* __tsan_default_options() {
  // Fork tests start threads in children, as daemons do.
  return "die_after_fork=0";
}

}  // extern "C"
