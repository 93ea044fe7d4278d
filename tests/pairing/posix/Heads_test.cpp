// Any bytes as a request to a server that really runs.
#include "pairing/Bridge.h"
#include "pairing/Processes.h"

#include "bridge/ChannelSpaces.h"
#include "bridge/Records.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kLeaderBytes = 15;

// What the server says of each bad module is of no use here.
class QuietErrors {
public:
    QuietErrors() : m_kept(dup(STDERR_FILENO)) {
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(nowhere, STDERR_FILENO);
        close(nowhere);
    }
    ~QuietErrors() {
        dup2(m_kept, STDERR_FILENO);
        close(m_kept);
    }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;

private:
    const int m_kept;
};

class HeadsTest : public BridgeTest {
protected:
    using Bytes = std::vector<unsigned char>;

    template <class Write>
    static Bytes Request(uint32 command, const wchar_t* name, Write write) {
        Bytes bytes(4096);
        CVXCSerialize stream;
        stream.m_pBuffer = bytes.data();
        stream.m_dwCapacity = 4096;
        stream.m_nDirection = VXC_SERIALIZE_STORE;
        SInParamLeader leader;
        leader.command = command;
        leader.commandString = name;
        stream << leader;
        write(stream);
        stream.SetMessageSize(stream.m_dwPosition);
        bytes.resize(stream.m_dwPosition);
        return bytes;
    }

    // Whether a whole reply comes back.
    static bool IsAnswered(CVXCInteracter& channel, const Bytes& request) {
        const ChannelSpaces spaces = UsableSpaces(channel);
        std::memset(spaces.reply, 0xEE, 64);
        std::copy(request.begin(), request.end(), spaces.request);
        if (channel.RemoteCall(kPatience) != 0) {
            return false;
        }
        CVXCSerialize reply;
        reply.m_pBuffer = spaces.reply;
        reply.m_dwCapacity = spaces.replyBytes;
        SOutParamLeader leader = {};
        reply >> leader;
        return reply.m_nError == VXC_SERIALIZE_OK && leader.value2 == 0 && leader.size >= kLeaderBytes &&
               leader.size <= 64 - 16 &&
               std::all_of(spaces.reply + leader.size, spaces.reply + leader.size + 16,
                           [](unsigned char byte) { return byte == 0; });
    }
};

} // namespace

TEST_F(HeadsTest, AHundredThousandOddRequestsAreEachAnswered) {
    {
        const QuietErrors quiet;
        Start();
    }
    const unsigned long long plug = Load();
    const std::wstring id = UniqueId();
    const auto handle = [plug](CVXCSerialize& stream) { stream << plug; };
    const std::vector<Bytes> kinds = {
        Request(0, L"Call_FreePlug", [](CVXCSerialize& stream) { stream << 0x0001000700000009ull; }),
        Request(0, L"Call_InitInteractor",
                [&](CVXCSerialize& stream) { stream << plug << id.c_str() << 4096u; }),
        Request(0, L"Call_InitInteractor",
                [&](CVXCSerialize& stream) { stream << 1ull << id.c_str() << 4096u; }),
        Request(0, L"Call_UnInitInteractor", handle),
        Request(0, L"Call_LoadPlug", [](CVXCSerialize& stream) { stream << L"/nowhere/x.so"; }),
        Request(0, L"Call_", handle),
        Request(7, L"", handle),
        Bytes(64, 0),
    };
    std::mt19937 random(28);
    CVXCInteracter& channel = *ObtainSysSender();
    for (int i = 0; i < 100000; ++i) {
        Bytes request = kinds[random() % kinds.size()];
        for (auto changes = random() % 5; changes > 0; --changes) {
            const std::size_t place = random() % 3 == 0 ? random() % request.size() : random() % 24;
            request[place % request.size()] = static_cast<unsigned char>(random() % 2 == 0 ? random() : 0);
        }
        ASSERT_TRUE(IsAnswered(channel, request)) << i;
    }
    Channel whole(Load());
    EXPECT_TRUE(whole.Works());
}
