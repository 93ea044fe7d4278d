// A companion library for the tests of loading; built under several names.
#include "frame/Types.h"

extern "C" __attribute__((visibility("default"))) uint32 CompanionNumber() {
    return VXC_TEST_COMPANION_NUMBER;
}
