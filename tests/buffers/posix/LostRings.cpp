// What byte rings that are destroyed without Close cost, told to the leak check of the address sanitizer.

// The destructor leaves what was given out and what a sleeper needs. Ordinary programs without that check
// never ask for this function.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();

extern "C" const char* __lsan_default_suppressions() {
    return "leak:InitRingThatIsLeft\nleak:ShowRingThatIsLeft\n";
}
