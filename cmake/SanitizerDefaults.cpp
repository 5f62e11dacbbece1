// What the sanitizers' run-time libraries ask every program for at its start. They look for these
// names; nothing else calls them.

// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
const char* __asan_default_options();
const char* __ubsan_default_options();
const char* __tsan_default_options();

const char* __asan_default_options() {
  // What has been freed is kept back for a while, up to this size: tests that watch the memory
  // reach it before they begin to count.
  return "check_initialization_order=1:quarantine_size_mb=16";
}

const char* __ubsan_default_options() {
  return "print_stacktrace=1";
}

const char* __tsan_default_options() {
  return "second_deadlock_stack=1";
}
}
// NOLINTEND(bugprone-reserved-identifier)
