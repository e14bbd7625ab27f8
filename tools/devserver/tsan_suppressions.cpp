// Suppressions for the thread sanitizer. The HTTP library is not instrumented, so the sanitizer
// does not see how the library synchronizes its static tables, and reports their first use as a
// race.
// NOLINTBEGIN(bugprone-reserved-identifier): the sanitizer calls it by this name.
extern "C" const char* __tsan_default_suppressions();

extern "C" const char* __tsan_default_suppressions() {
  return "race:libcpp-httplib.so\n";
}
// NOLINTEND(bugprone-reserved-identifier)
