// Export.h - the mark of the two names that the module offers. All others stay inside.
#pragma once

#if defined(_WIN32)
#define QLRREMOTEFILEU_EXPORT extern "C" __declspec(dllexport)
#else
#define QLRREMOTEFILEU_EXPORT extern "C" __attribute__((visibility("default")))
#endif
