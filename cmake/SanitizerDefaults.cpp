// What the sanitizers' run-time libraries ask every program for at its start. They look for these
// names; nothing else calls them.

// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
const char* __asan_default_options();
const char* __lsan_default_suppressions();
const char* __ubsan_default_options();
const char* __tsan_default_options();
const char* __tsan_default_suppressions();

const char* __asan_default_options() {
  // What has been freed is kept back for a while, up to this size: tests that watch the memory
  // reach it before they begin to count.
  return "check_initialization_order=1:quarantine_size_mb=16";
}

const char* __lsan_default_suppressions() {
  // What Qt's Wayland plug-in leaves behind at the end of a program. The stacks stop in this
  // library.
  return "leak:libwayland-client.so\n";
}

const char* __ubsan_default_options() {
  return "print_stacktrace=1";
}

const char* __tsan_default_options() {
  return "second_deadlock_stack=1";
}

const char* __tsan_default_suppressions() {
  // libdbus takes two of its own locks in both orders, on one thread. The C library frees its
  // tables of modules, which PipeWire unloads, under a lock that the sanitizer does not see.
  return "deadlock:libdbus-1\nrace:_dl_close_worker\n";
}
}
// NOLINTEND(bugprone-reserved-identifier)
