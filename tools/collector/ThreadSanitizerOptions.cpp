// The packaged HTTP library is not instrumented, so ThreadSanitizer does not see the guards of the
// local statics in it and takes their first use for a race. What the collector's own code does
// stays checked, whoever calls it.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name that the sanitizer looks for.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
  return "ignore_noninstrumented_modules=1";
}
