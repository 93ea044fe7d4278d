// The kept inputs of the fuzz programs, and each of them cut short: nothing that was found once comes back.
#include "fuzz/RecordsInput.h"
#include "fuzz/ReplyInput.h"
#include "fuzz/SerializeInput.h"
#include "support/FuzzCorpus.h"

#include <gtest/gtest.h>

using vxcio::test::ReplayCorpus;

TEST(FuzzCorpusTest, StreamsThatTheFuzzerFoundAreTheModels) {
    ReplayCorpus("fuzz_serialize", vxcio::fuzz::FuzzSerialize);
}

TEST(FuzzCorpusTest, RecordsThatTheFuzzerFoundComeBackTheSame) {
    ReplayCorpus("fuzz_records", vxcio::fuzz::FuzzRecords);
}

TEST(FuzzCorpusTest, RepliesThatTheFuzzerFoundAreReadForWhatTheyAre) {
    ReplayCorpus("fuzz_reply", vxcio::fuzz::FuzzReply);
}
