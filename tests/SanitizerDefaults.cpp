// What the sanitizers are told by every test program. Linked into sanitized builds only.

extern "C" {

const char* __tsan_default_suppressions();
const char* __tsan_default_suppressions() {
  // ICU is not built with ThreadSanitizer, which so does not see how its one-time initialisations are
  // ordered. Nor is OpenSSL, which takes its locks apart when the process ends.
  return "race:libicuuc.so\n"
         "race:libicui18n.so\n"
         "race:libcrypto.so\n";
}

const char* __tsan_default_options();
const char* __tsan_default_options() {
  // The tests of forks start threads in children, as a daemon does.
  return "die_after_fork=0";
}

}  // extern "C"
