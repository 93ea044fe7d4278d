// The kept inputs of the fuzz programs for what FTP servers say, and each of them cut short: nothing that was
// found once comes back.
#include "fuzz/ListInput.h"
#include "fuzz/MxfHeaderInput.h"
#include "fuzz/ReplyLinesInput.h"
#include "fuzz/ReplyTextInput.h"
#include "support/FuzzCorpus.h"

#include <gtest/gtest.h>

using vxcio::test::ReplayCorpus;

TEST(FtpFuzzCorpusTest, RepliesThatTheFuzzerFoundSayWhatTheySay) {
    ReplayCorpus("fuzz_ftp_reply", vxcio::fuzz::FuzzFtpReply);
}

TEST(FtpFuzzCorpusTest, ListingsThatTheFuzzerFoundAreReadAsStepByStep) {
    ReplayCorpus("fuzz_listing", vxcio::fuzz::FuzzListing);
}

TEST(FtpFuzzCorpusTest, LinesThatTheFuzzerFoundAreReadAsReplies) {
    ReplayCorpus("fuzz_ftp_lines", vxcio::fuzz::FuzzFtpLines);
}

TEST(FtpFuzzCorpusTest, HeadersThatTheFuzzerFoundAreReadAsStepByStep) {
    ReplayCorpus("fuzz_mxf_header", vxcio::fuzz::FuzzMxfHeader);
}
