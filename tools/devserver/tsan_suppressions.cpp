// What the thread sanitizer is told about the HTTP library. It comes as it is, not instrumented, so
// the sanitizer misses how it guards its own static tables and takes their first use for a race.
// NOLINTBEGIN(bugprone-reserved-identifier): the sanitizer calls it by this name.
extern "C" const char* __tsan_default_suppressions();

extern "C" const char* __tsan_default_suppressions() {
  return "race:libcpp-httplib.so\n";
}
// NOLINTEND(bugprone-reserved-identifier)
