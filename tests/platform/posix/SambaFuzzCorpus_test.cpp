// The kept inputs of the fuzz program for Samba's configuration, and each of them cut short: nothing that was
// found once comes back.
#include "fuzz/SambaInput.h"
#include "support/FuzzCorpus.h"

#include <gtest/gtest.h>

TEST(SambaFuzzCorpusTest, ConfigurationsThatTheFuzzerFoundAreRead) {
    vxcio::test::ReplayCorpus("fuzz_samba", vxcio::fuzz::FuzzSamba);
}
