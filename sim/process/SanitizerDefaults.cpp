// Settings that the sanitizers ask the program for. They let off what happens inside GLib and
// GStreamer, whose packaged libraries are not built for sanitizers, and nothing of ours.

extern "C" {

const char* __asan_default_options();
const char* __lsan_default_suppressions();
const char* __tsan_default_suppressions();

// Without whole call stacks the suppression below could not tell one allocation from another.
const char* __asan_default_options() {
    return "fast_unwind_on_malloc=0";
}

// GLib's table of names is made while the library loads and kept where the leak check cannot look.
const char* __lsan_default_suppressions() {
    return "leak:call_init\n";
}

// Locks taken inside these libraries are invisible, so everything that they hand from one thread to
// another looks like a race; OnNeedData runs on whatever thread streams at the moment.
const char* __tsan_default_suppressions() {
    return "race:libglib-2.0\n"
           "race:libgobject-2.0\n"
           "race:libgio-2.0\n"
           "race:libgst\n"
           "race:gstreamer-1.0/\n"
           "race:OnNeedData\n"
           "mutex:libglib-2.0\n"
           "deadlock:libglib-2.0\n";
}
}
