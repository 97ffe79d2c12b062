// What the thread sanitizer is not to report: DirectFB's libraries synchronise in ways that it cannot see, since
// they are not built for it. Nothing of our own may stand here.

extern "C" const char* __tsan_default_suppressions();

extern "C" const char* __tsan_default_suppressions() {
    return "called_from_lib:libdirect-1.7.so\n"
           "called_from_lib:libfusion-1.7.so\n"
           "called_from_lib:libdirectfb-1.7.so\n"
           "race:libdirectfb_dummy\n"
           "race:libdirectfb_x11\n"
           "mutex:libdirect\n"
           "thread:direct_thread_init\n"
           // The command that leaves factory mode stops the link on the command thread itself; nobody joins that
           // one, and the process ends soon after.
           "thread:UartManager::Start\n"
           "race:libdirect\n"
           "race:libfusion\n";
}
