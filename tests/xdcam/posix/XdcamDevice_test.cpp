// The device by itself: what it says, does, refuses and survives.
#include "xdcam/device/XdcamDevice.h"

#include "support/TempFolder.h"
#include "xdcam/Clips.h"
#include "xdcam/device/MxfStretch.h"
#include "xdcam/posix/PlainClient.h"

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

using namespace std::chrono_literals;
using namespace vxcio::test;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using xdcam::Trouble;
using xdcam::XdcamDevice;

namespace {

const std::string kHere = "127.0.0.1";

std::string TextOf(const std::vector<std::uint8_t>& bytes) {
    return {bytes.begin(), bytes.end()};
}

} // namespace

class XdcamDeviceTest : public testing::Test {
protected:
    XdcamDeviceTest() {
        m_folder.Write("a.txt", "0123456789");
        m_folder.Write("sub/b.txt", "b");
    }

    std::unique_ptr<PlainClient> Client(XdcamDevice& device) {
        auto client = std::make_unique<PlainClient>(kHere, device.Port());
        client->LogOn();
        return client;
    }
    // The first reply of a command with data; all of that is in m_data then.
    std::string Fetch(PlainClient& client, const std::string& command) {
        EXPECT_THAT(client.Ask("PORT " + client.Listen()), StartsWith("200"));
        const std::string reply = client.Ask(command);
        m_data = reply.starts_with("150") ? client.Data() : std::string();
        return reply;
    }

    TempFolder m_folder;
    std::string m_data;
};

TEST_F(XdcamDeviceTest, LogsOnEverybodyOrOneUser) {
    XdcamDevice open({.folder = m_folder.Path()});
    PlainClient any(kHere, open.Port());
    EXPECT_THAT(any.Greeting(), StartsWith("220 "));
    EXPECT_THAT(any.Ask("PWD"), StartsWith("530 "));
    EXPECT_THAT(any.Ask("NOOP"), StartsWith("200 "));
    EXPECT_THAT(any.Ask("user x"), StartsWith("331 "));
    EXPECT_THAT(any.Ask("PASS"), StartsWith("230 "));
    EXPECT_EQ(any.Ask("PWD"), "257 \"/\"");
    XdcamDevice closed({.folder = m_folder.Path(), .user = "u", .password = "p"});
    PlainClient one(kHere, closed.Port());
    one.Ask("USER u");
    EXPECT_THAT(one.Ask("PASS wrong"), StartsWith("530 "));
    EXPECT_THAT(one.Ask("STAT a.txt"), StartsWith("530 "));
    one.Ask("USER u");
    EXPECT_THAT(one.Ask("PASS p"), StartsWith("230 "));
    EXPECT_THAT(one.Ask("QUIT"), StartsWith("221 "));
    EXPECT_EQ(one.Reply(), ""); // it is closed
    EXPECT_THAT(closed.Lines(), Contains("STAT a.txt"));
}

TEST_F(XdcamDeviceTest, TellsWhatAClipIsInItsLines) {
    const TestClip clip = HdClip();
    VXC_NEEDS_CLIP(clip);
    XdcamDevice device({.folder = clip.folder});
    const auto client = Client(device);
    EXPECT_THAT(client->Ask("STAT /clip.mxf"),
                AllOf(StartsWith("213-Status"),
                      EndsWith("  MPEG2HD50CBR_1920_1080_422P@HL\n  Rate  50i\n 1 channels of sound\n 60 "
                               "frames\n213 end")));
    EXPECT_EQ(client->Ask("STAT clip.mxf"), client->Ask("STAT ./x/../clip.mxf"));
    EXPECT_THAT(client->Ask("STAT /none.mxf"), StartsWith("550 "));
    EXPECT_THAT(client->Ask("STAT /"), StartsWith("550 "));
    EXPECT_THAT(client->Ask("STAT"), StartsWith("211 "));
}

TEST_F(XdcamDeviceTest, WhatIsNoClipHasNoStatusAndNoFrames) {
    XdcamDevice device({.folder = m_folder.Path()});
    const auto client = Client(device);
    EXPECT_THAT(client->Ask("STAT a.txt"), StartsWith("550 "));
    EXPECT_THAT(Fetch(*client, "SITE REPF a.txt 0 1"), StartsWith("550 "));
}

TEST_F(XdcamDeviceTest, SendsStretches) {
    const TestClip clip = LongClip();
    VXC_NEEDS_CLIP(clip);
    XdcamDevice device({.folder = clip.folder});
    const auto client = Client(device);
    EXPECT_THAT(Fetch(*client, "SITE REPF /clip.mxf 100 50"), StartsWith("150 "));
    EXPECT_TRUE(m_data == TextOf(xdcam::MxfClip(clip.file).Cut(100, 50).bytes));
    EXPECT_THAT(client->Reply(), StartsWith("226 "));
    for (const char* odd : {"1 2", "", "/clip.mxf", "/clip.mxf 1", "/clip.mxf -1 5", "/clip.mxf 1 -5",
                            "/clip.mxf 1 4294967296", "/clip.mxf a b", "/clip.mxf  1 "}) {
        EXPECT_THAT(Fetch(*client, std::string("SITE REPF ") + odd), StartsWith("501 ")) << odd;
    }
    for (const char* odd :
         {"/clip.mxf 0 0", "/clip.mxf 600 1", "/clip.mxf 1 4294967295", "/none 0 1", "/ 0 1"}) {
        EXPECT_THAT(Fetch(*client, std::string("SITE REPF ") + odd), StartsWith("550 ")) << odd;
    }
    EXPECT_THAT(Fetch(*client, "site repf clip.mxf 599 1"), StartsWith("150 "));
}

TEST_F(XdcamDeviceTest, TellsTheSpace) {
    XdcamDevice device({.folder = m_folder.Path(), .space = 12345});
    const auto client = Client(device);
    EXPECT_THAT(Fetch(*client, "SITE DF"), StartsWith("150 "));
    EXPECT_THAT(m_data, AllOf(StartsWith("total "), HasSubstr(" others 12345 ")));
    EXPECT_THAT(client->Reply(), StartsWith("226 "));
    XdcamDevice real({.folder = m_folder.Path()});
    const auto other = Client(real);
    Fetch(*other, "SITE DF");
    EXPECT_THAT(m_data, testing::MatchesRegex("total [0-9]+ others [0-9]+ bytes\r\n"));
}

TEST_F(XdcamDeviceTest, ServesFilesAndListings) {
    XdcamDevice device({.folder = m_folder.Path()});
    const auto client = Client(device);
    EXPECT_EQ(client->Ask("SIZE /a.txt"), "213 10");
    EXPECT_THAT(client->Ask("REST 4"), StartsWith("350 "));
    Fetch(*client, "RETR a.txt");
    EXPECT_EQ(m_data, "456789");
    client->Reply();
    Fetch(*client, "RETR a.txt"); // a place holds for one transfer
    EXPECT_EQ(m_data, "0123456789");
    client->Reply();
    Fetch(*client, "NLST");
    EXPECT_EQ(m_data, "a.txt\r\nsub\r\n");
    client->Reply();
    Fetch(*client, "LIST -a /sub");
    EXPECT_THAT(m_data, AllOf(StartsWith("-rw"), EndsWith(" b.txt\r\n")));
    client->Reply();
    EXPECT_THAT(client->Ask("CWD sub"), StartsWith("250 "));
    EXPECT_EQ(client->Ask("PWD"), "257 \"/sub\"");
    EXPECT_EQ(client->Ask("SIZE b.txt"), "213 1");
    EXPECT_THAT(client->Ask("CDUP"), StartsWith("250 "));
    EXPECT_THAT(client->Ask("SIZE b.txt"), StartsWith("550 "));
    for (const char* change : {"STOR c", "APPE a.txt", "DELE a.txt", "RNFR a.txt", "MKD d"}) {
        EXPECT_THAT(client->Ask(change), StartsWith("550 ")) << change;
    }
}

TEST_F(XdcamDeviceTest, ShowsNothingOutsideItsFolder) {
    std::filesystem::create_symlink("/etc", m_folder.Path() / "out");
    m_folder.Write("sub/in/c.txt", "c");
    XdcamDevice device({.folder = m_folder.Name("sub")});
    const auto client = Client(device);
    for (const char* name : {"../a.txt", "/../a.txt", "in/../../a.txt", "/etc/passwd"}) {
        EXPECT_THAT(client->Ask(std::string("SIZE ") + name), StartsWith("550 ")) << name;
    }
    EXPECT_THAT(client->Ask("CWD ../../.."), StartsWith("250 "));
    EXPECT_EQ(client->Ask("PWD"), "257 \"/\"");
    XdcamDevice linked({.folder = m_folder.Path()});
    const auto other = Client(linked);
    EXPECT_THAT(other->Ask("SIZE out/passwd"), StartsWith("550 "));
    EXPECT_THAT(other->Ask("CWD out"), StartsWith("550 "));
    Fetch(*other, "NLST");
    EXPECT_EQ(m_data, "a.txt\r\nsub\r\n");
}

TEST_F(XdcamDeviceTest, DialsTheClientAloneAndListensOnlyIfItIsToldSo) {
    XdcamDevice device({.folder = m_folder.Path()});
    const auto client = Client(device);
    EXPECT_THAT(client->Ask("RETR a.txt"), StartsWith("425 "));
    EXPECT_THAT(client->Ask("PASV"), StartsWith("502 "));
    EXPECT_THAT(client->Ask("PORT 127,0,0,2,4,4"), StartsWith("500 "));
    EXPECT_THAT(client->Ask("PORT 127,0,0,1,0,0"), StartsWith("500 "));
    for (const char* odd :
         {"", "1,2,3", "127,0,0,1,4", "127,0,0,1,4,256", "127,0,0,1,4,4,4", "a,b,c,d,e,f", ","}) {
        EXPECT_THAT(client->Ask(std::string("PORT ") + odd), StartsWith("501 ")) << odd;
    }
    // Where nobody listens any more.
    const std::string gone = PlainClient(kHere, device.Port()).Listen();
    EXPECT_THAT(client->Ask("PORT " + gone), StartsWith("200 "));
    EXPECT_THAT(client->Ask("RETR a.txt"), StartsWith("150 "));
    EXPECT_THAT(client->Reply(), StartsWith("425 "));
    XdcamDevice passive({.folder = m_folder.Path(), .passive = true});
    EXPECT_THAT(Client(passive)->Ask("PASV"), StartsWith("227 "));
}

TEST_F(XdcamDeviceTest, RefusesAsItIsTold) {
    XdcamDevice device({.folder = m_folder.Path(), .troubles = {{"SITE-DF", {.refusal = "550 not now"}}}});
    const auto client = Client(device);
    EXPECT_EQ(client->Ask("SITE DF"), "550 not now");
    device.Set("STAT", {.refusal = "421 good night"});
    EXPECT_EQ(client->Ask("STAT a.txt"), "421 good night");
    EXPECT_EQ(client->Reply(), "");
    device.Set("CONNECT", {.refusal = "421 full"});
    EXPECT_EQ(PlainClient(kHere, device.Port()).Greeting(), "421 full");
}

TEST_F(XdcamDeviceTest, WaitsAsItIsTold) {
    XdcamDevice device({.folder = m_folder.Path(), .troubles = {{"NOOP", {.delay = 120ms}}}});
    const auto client = Client(device);
    const auto start = std::chrono::steady_clock::now();
    client->Ask("NOOP");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 120ms);
}

TEST_F(XdcamDeviceTest, BreaksOffAsItIsTold) {
    XdcamDevice device({.folder = m_folder.Path()});
    const auto client = Client(device);
    device.Set("RETR", {.cutAfter = 4});
    Fetch(*client, "RETR a.txt");
    EXPECT_EQ(m_data, "0123");
    EXPECT_FALSE(client->WasReset());
    EXPECT_THAT(client->Reply(), StartsWith("426 "));
    device.Set("RETR", {.closing = "226 so it seems", .resetAfter = 5});
    Fetch(*client, "RETR a.txt");
    EXPECT_EQ(m_data, "01234");
    EXPECT_TRUE(client->WasReset());
    EXPECT_EQ(client->Reply(), "226 so it seems");
    device.Set("RETR", {.cutAfter = 0});
    Fetch(*client, "RETR a.txt");
    EXPECT_EQ(m_data, "");
    client->Reply();
    device.Set("RETR", {.splitAfter = 3, .splitPause = 50ms});
    Fetch(*client, "RETR a.txt");
    EXPECT_EQ(m_data, "0123456789");
    EXPECT_THAT(client->Reply(), StartsWith("226 "));
}

TEST_F(XdcamDeviceTest, StandsStillUntilTheClientHasEnough) {
    std::mutex mutex;
    std::vector<std::string> talk; // guarded by mutex
    XdcamDevice device({.folder = m_folder.Path(),
                        .troubles = {{"RETR", {.stallAfter = 6}}},
                        .talk = [&](const std::string& line) {
                            const std::lock_guard lock(mutex);
                            talk.push_back(line.substr(0, 5));
                        }});
    const auto client = Client(device);
    client->Ask("PORT " + client->Listen());
    client->Ask("RETR a.txt");
    EXPECT_EQ(client->Data(6), "012345");
    client->CloseData();
    EXPECT_THAT(client->Reply(), StartsWith("426 "));
    client->Ask("PORT " + client->Listen());
    client->Ask("RETR a.txt");
    EXPECT_EQ(client->Data(6), "012345");
    EXPECT_THAT(client->Ask("\xFF\xF4\xFF\xF2"
                            "ABOR"),
                StartsWith("426 "));
    EXPECT_THAT(client->Reply(), StartsWith("226 "));
    EXPECT_EQ(client->Data(), "");
    EXPECT_THAT(client->Ask("NOOP"), StartsWith("200 "));
    {
        const std::lock_guard lock(mutex);
        const std::vector<std::string> last(talk.end() - 6, talk.end());
        EXPECT_THAT(last, ElementsAre("< 150", "> ABO", "< 426", "< 226", "> NOO", "< 200"));
    }
    // Its end needs nobody's help.
    client->Ask("PORT " + client->Listen());
    client->Ask("RETR a.txt");
    EXPECT_EQ(client->Data(6), "012345");
}

TEST_F(XdcamDeviceTest, EndsWhileEverybodyWaits) {
    m_folder.WritePattern("large", 30'000'000, 1);
    auto device = std::make_unique<XdcamDevice>(
        xdcam::DeviceOptions{.folder = m_folder.Path(), .troubles = {{"NOOP", {.delay = 1h}}}});
    const auto idle = Client(*device);
    const auto slow = Client(*device);
    slow->Ask("PORT " + slow->Listen());
    slow->Ask("RETR large");
    EXPECT_EQ(slow->Data(1).size(), 1u); // and no more
    const auto patient = Client(*device);
    patient->Send("NOOP\r\n");
    device.reset();
    EXPECT_EQ(idle->Reply(), "");
    EXPECT_EQ(patient->Reply(), "");
}

TEST_F(XdcamDeviceTest, NonsenseDoesNoHarm) {
    XdcamDevice device({.folder = m_folder.Path(), .passive = true});
    std::mt19937 dice(5);
    const std::vector<std::string> words = {"SITE",  "SITE REPF ", "STAT ", "PORT ",
                                            "RETR ", "a.txt",      "\r\n",  "\n",
                                            " ",     "1,2",        "-1",    "99999999999999999999",
                                            "ABOR",  "REST ",      "LIST ", std::string(1, '\0'),
                                            "\xFF",  "\xFF\xF4",   "%s%n",  "../",
                                            "TYPE I"};
    for (int session = 0; session < 60; ++session) {
        const auto client = Client(device);
        std::string bytes;
        for (int i = 0; i < 200; ++i) {
            bytes += dice() % 4 == 0 ? std::string(dice() % 9, static_cast<char>(dice()))
                                     : words[dice() % words.size()];
        }
        client->Send(bytes + "\r\n");
    }
    const auto client = Client(device);
    EXPECT_THAT(client->Ask(std::string(1'000'000, 'a')), StartsWith("500 "));
    EXPECT_THAT(client->Ask("SITE"), StartsWith("500 "));
    EXPECT_THAT(client->Ask(""), StartsWith("500 "));
    EXPECT_EQ(client->Ask("SIZE a.txt"), "213 10");
}

TEST_F(XdcamDeviceTest, ManyAreServedAtOnce) {
    XdcamDevice device({.folder = m_folder.Path()});
    std::vector<std::unique_ptr<PlainClient>> clients;
    for (int i = 0; i < 20; ++i) {
        clients.push_back(Client(device));
    }
    std::vector<std::thread> threads;
    for (const auto& client : clients) {
        threads.emplace_back([&client] {
            for (int i = 0; i < 20; ++i) {
                client->Ask("PORT " + client->Listen());
                client->Ask("RETR a.txt");
                EXPECT_EQ(client->Data(), "0123456789");
                client->Reply();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(XdcamDeviceTest, WhatIsNotThereIsNotServed) {
    EXPECT_THROW(XdcamDevice({.folder = m_folder.Name("none")}), std::runtime_error);
    EXPECT_THROW(XdcamDevice({.folder = m_folder.Name("a.txt")}), std::runtime_error);
    EXPECT_THROW(XdcamDevice({.folder = m_folder.Path(), .listen = "here"}), std::runtime_error);
    EXPECT_THROW(XdcamDevice({.folder = m_folder.Path(), .listen = "192.0.2.1"}), std::runtime_error);
}
