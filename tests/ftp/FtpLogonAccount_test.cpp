// Where the walk of a logon leads from ACCT, which has no answer to give: through a table that is read beside
// its edges.
#include "ftp/FtpSessionFixture.h"

#include <ostream>
#include <string>

using namespace vxcio;
using namespace vxcio::test;

namespace {

class FtpLogonAccountTest : public FtpSessionFixture {};

// Up to the first reply to ACCT.
void AskForAccount(FtpScript& ftp) {
    ftp.Say("220").Expect("USER u").Say("331").Expect("PASS p").Say("332 account?").Expect("ACCT ");
}

} // namespace

TEST_F(FtpLogonAccountTest, AnEmptyAccountIsAccepted) {
    AskForAccount(ftp);
    ftp.Say("230");
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_OK);
    ftp.Finish();
    EXPECT_TRUE(log.Contains(L"ACCT \r\n"));
}

TEST_F(FtpLogonAccountTest, AnAccountThatIsNotEnoughFails) {
    AskForAccount(ftp);
    ftp.Say("332 more").ExpectClosed().AcceptControl();
    AskForAccount(ftp);
    ftp.Say("332 more");
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_FTP_CONNECT);
    EXPECT_EQ(Info(), L"Can't connect to sever!");
    EXPECT_EQ(io->Logon(), VXC_STATUS_FTP_CONNECT);
    EXPECT_EQ(Info(), L"Logon failed!");
    ftp.Finish();
}

TEST_F(FtpLogonAccountTest, WhoIsRefusedAnAccountBeginsAgain) {
    AskForAccount(ftp);
    for (int round = 0; round < 3; ++round) {
        ftp.Say("530 no").Expect("USER u").Say("331").Expect("PASS p").Say("332").Expect("ACCT ");
    }
    ftp.Say("430 no").Expect("USER u").Say("331").Expect("PASS p").Say("230");
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_OK);
    ftp.Finish();
}

TEST_F(FtpLogonAccountTest, ManyRefusedAccountsCostNothing) {
    AskForAccount(ftp);
    for (int round = 0; round < 500; ++round) {
        ftp.Say("530 no").Expect("USER u").Say("331").Expect("PASS p").Say("332").Expect("ACCT ");
    }
    ftp.Say("230");
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_OK);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

namespace {

// What follows a reply to ACCT: where the walk stands then, by its place in the table, or how it ends.
enum class Next { Done, Failed, User, Pass, Place1, Place2, Place6 };

struct Turn {
    const char* before; // replies to ACCT before this one
    char head;          // the first character of the reply
    Next next;
};
void PrintTo(const Turn& turn, std::ostream* out) {
    *out << "'" << turn.before << turn.head << "'";
}

class FtpLogonTurnTest : public FtpSessionFixture, public ::testing::WithParamInterface<Turn> {};

// The replies in front of a place: none, one of class 1, and one of class 2 behind that.
constexpr const char* kAt6 = "";
constexpr const char* kAt2 = "1";
constexpr const char* kAt1 = "12";

constexpr Turn kTurns[] = {
    {kAt6, '0', Next::Place6},
    {kAt6, '1', Next::Place2},
    {kAt6, '2', Next::Done},
    {kAt6, '3', Next::Failed},
    {kAt6, '4', Next::User},
    {kAt6, '5', Next::User},
    {kAt6, '9', Next::User},
    // Characters that are no digits lie beside the digits, as far as the table goes.
    {kAt6, '-', Next::Pass},
    {kAt6, '.', Next::Place1},
    {kAt6, '/', Next::Done},
    {kAt6, ':', Next::User},
    {kAt6, 'H', Next::User},
    {kAt6, 'I', Next::Failed},
    {kAt6, 'X', Next::Failed},
    {kAt6, 'z', Next::Failed},
    {kAt6, '+', Next::User},
    {kAt6, '*', Next::Failed},
    {kAt6, ' ', Next::Failed},
    {kAt6, '\x01', Next::Failed},
    {kAt6, '\xFF', Next::Failed},
    {kAt2, '0', Next::Done},
    {kAt2, '1', Next::Pass},
    {kAt2, '2', Next::Place1},
    {kAt2, '3', Next::Done},
    {kAt2, '4', Next::Place6},
    {kAt2, '5', Next::Place2},
    {kAt2, '6', Next::Done},
    {kAt2, '7', Next::Failed},
    {kAt2, '8', Next::User},
    {kAt2, '/', Next::User},
    {kAt2, '.', Next::Failed},
    {kAt1, '0', Next::User},
    {kAt1, '1', Next::Done},
    {kAt1, '2', Next::Pass},
    {kAt1, '3', Next::Place1},
    {kAt1, '4', Next::Done},
    {kAt1, '5', Next::Place6},
    {kAt1, '6', Next::Place2},
    {kAt1, '7', Next::Done},
    {kAt1, '8', Next::Failed},
    {kAt1, '9', Next::User},
    {kAt1, '/', Next::Failed},
};

} // namespace

TEST_P(FtpLogonTurnTest, LeadsWhereTheTableSays) {
    const Turn& turn = GetParam();
    AskForAccount(ftp);
    for (const char* reply = turn.before; *reply != 0; ++reply) {
        ftp.Say(std::string(1, *reply) + "00 x").Expect("ACCT ");
    }
    ftp.Say(std::string(1, turn.head) + "00 x");
    uint32 status = VXC_STATUS_OK;
    switch (turn.next) {
    case Next::Done:
        break;
    case Next::Failed:
        status = VXC_STATUS_FTP_CONNECT;
        break;
    case Next::User:
        ftp.Expect("USER u").Say("230");
        break;
    case Next::Pass:
        ftp.Expect("PASS p").Say("230");
        break;
    // A reply of class 3 tells these apart.
    case Next::Place6:
        ftp.Expect("ACCT ").Say("300");
        status = VXC_STATUS_FTP_CONNECT;
        break;
    case Next::Place2:
        ftp.Expect("ACCT ").Say("300");
        break;
    case Next::Place1:
        ftp.Expect("ACCT ").Say("300").Expect("ACCT ").Say("100");
        break;
    }
    EXPECT_EQ(StartAndConnect(), status);
    EXPECT_EQ(Info(), status == 0 ? L"Connect sever success!" : L"Can't connect to sever!");
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

INSTANTIATE_TEST_SUITE_P(Turns, FtpLogonTurnTest, ::testing::ValuesIn(kTurns), [](const auto& turn) {
    return "Replies" + std::string(turn.param.before) + "Then" +
           std::to_string(static_cast<unsigned char>(turn.param.head));
});
