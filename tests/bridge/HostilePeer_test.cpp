// A peer that rewrites a message while it is read: what comes is anything, and no memory but the reader's own
// is touched.
#include "bridge/InteracterTesting.h"
#include "bridge/MediaDescriptStreams.h"
#include "platform/SharedObjects.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <random>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kSpaceBytes = 4096;

// A message in a space that two have mapped, the reader and a peer that never rests.
class RestlessPeer {
public:
    explicit RestlessPeer(const Bytes& message) {
        int existed = 0;
        m_section = SharedObjects().createMapping(UniqueId(L"flip").c_str(), kSpaceBytes, &existed);
        uint64 bytes = 0;
        m_view = static_cast<unsigned char*>(SharedObjects().mapView(m_section, 0, &bytes));
        m_peerView = static_cast<unsigned char*>(SharedObjects().mapView(m_section, 0, &bytes));
        std::copy(message.begin(), message.end(), m_peerView);
        m_thread = std::thread([this, message] { Rewrite(message); });
    }
    ~RestlessPeer() {
        m_stop.store(true);
        m_thread.join();
        SharedObjects().unmapView(m_view);
        SharedObjects().unmapView(m_peerView);
        SharedObjects().closeMapping(m_section);
    }
    RestlessPeer(const RestlessPeer&) = delete;
    RestlessPeer& operator=(const RestlessPeer&) = delete;

    const unsigned char* View() const { return m_view; }

private:
    void Rewrite(const Bytes& message) {
        std::mt19937 random(3);
        while (!m_stop.load()) {
            // Tags and counts stand in front more often than behind.
            const std::size_t place = random() % (random() % 2 == 0 ? 40 : message.size());
            volatile unsigned char& byte = m_peerView[place % message.size()];
            byte = static_cast<unsigned char>(random() % 3 == 0 ? 0xFF : random());
            byte = message[place % message.size()];
        }
    }

    void* m_section;
    unsigned char* m_view;
    unsigned char* m_peerView;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

// Reads until both have been seen, and long enough for odd moments: a message that is whole and one that is
// not.
template <class Record, class Free>
void ReadRewritten(const Bytes& message, Free free) {
    const RestlessPeer peer(message);
    int whole = 0;
    int broken = 0;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    for (int i = 0; i < 20'000 || whole == 0 || broken == 0; ++i) {
        ASSERT_LT(std::chrono::steady_clock::now(), end);
        Record record{};
        auto stream = StreamOver(peer.View(), message.size(), VXC_SERIALIZE_LOAD);
        stream >> record;
        free(record);
        ASSERT_LE(stream.m_dwPosition, message.size());
        stream.m_nError == VXC_SERIALIZE_OK ? ++whole : ++broken;
    }
}

template <class Record>
void ReadRewritten() {
    FullRecord<Record> full(1);
    ReadRewritten<Record>(StreamOf(SlotsOf(full.record)),
                          [](Record& record) { FreeAttachments(SlotsOf(record), nullptr); });
}

} // namespace

TEST(HostilePeerTest, RecordsThatChangeUnderTheReader) {
    ReadRewritten<SPlugStreamInfo>();
    ReadRewritten<SPlugFRAMEINFO>();
    ReadRewritten<SPlugAppendInfo_T>();
}

TEST(HostilePeerTest, TextsThatChangeUnderTheReader) {
    Bytes message(4000);
    auto stream = StreamOver(message.data(), message.size(), VXC_SERIALIZE_STORE);
    SInParamLeader leader{0, 0, L"Call_LoadPlug"};
    stream << leader << L"a path of some length";
    message.resize(stream.m_dwPosition);
    struct Request {
        SInParamLeader leader;
        CVXCString path;
    };
    const RestlessPeer peer(message);
    for (int i = 0; i < 20'000; ++i) {
        Request request;
        auto read = StreamOver(peer.View(), message.size(), VXC_SERIALIZE_LOAD);
        read >> request.leader >> request.path;
        ASSERT_LE(read.m_dwPosition, message.size());
        ASSERT_LE(static_cast<std::size_t>(request.path.GetLength()), message.size());
    }
}

TEST(HostilePeerTest, DescriptionsThatChangeUnderTheReader) {
    auto payload = Random<SMediaDescriptExtra>(5);
    payload.extraSize = 7;
    Bytes message = StreamOfType(kExtra, payload);
    PutBlock(message, kPayload.data(), kPayload.size());
    ReadRewritten<SMediaDescript>(message, [](SMediaDescript& record) {
        const Memory memory(record.type == kFiles || record.type == kExtra ? record.data : nullptr);
        if (record.type == kExtra) {
            SMediaDescriptExtra taken;
            std::memcpy(&taken, record.data, sizeof taken);
            const Memory extra(taken.extra);
        }
    });
}
