// What a hung disk costs for good, told to the leak check of the address sanitizer.

// The file that a worker opened after it had been left behind stays open: nobody can tell whether it is still
// in use. Ordinary programs without that check never ask for this function.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();

extern "C" const char* __lsan_default_suppressions() {
    return "leak:vxcio::CreateFileThread\n";
}
