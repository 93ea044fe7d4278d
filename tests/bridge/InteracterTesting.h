// InteracterTesting.h - both ends of a channel in one process: ids that no other process has, named objects
// that fail when the test says so and are counted, and a played server behind the system sender.
#pragma once

#include "bridge/InteracterImpl.h"
#include "bridge/Messages.h"
#include "platform/SharedObjects.h"

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace vxcio::test {

// Of this process alone, and another one each time.
std::wstring UniqueId(const wchar_t* what = L"chan");

// Named objects of this id that the system knows, "_InMap.m" and the like, sorted.
std::vector<std::string> NamesOf(const std::wstring& id);

// The table of named objects, with failures, counts and notes, until its end. One at a time.
class SharedObjectsPlan {
public:
    enum class Kind { CreateMapping, OpenMapping, MapView, CreateEvent, OpenEvent };

    SharedObjectsPlan();
    ~SharedObjectsPlan();
    SharedObjectsPlan(const SharedObjectsPlan&) = delete;
    SharedObjectsPlan& operator=(const SharedObjectsPlan&) = delete;

    // The n-th call from now on fails; once.
    static void Fail(Kind kind, int nth = 1);
    // The same, counted over the calls of every kind.
    static void FailAny(int nth);
    static int Fired();
    // Sections whose name is taken are made under another one from now on.
    static void FreeTakenNames();

    struct Unmapping {
        void* address;
        int result;
        bool operator==(const Unmapping&) const = default;
    };
    static std::vector<Unmapping> Unmappings();
    static std::vector<std::wstring> Opened();
    // Handles of sections that are open, and views that are mapped, since it began.
    static int Handles();
    static int Views();
    // All handles that were given out, in order.
    static std::vector<void*> Given();

private:
    const SharedObjectTable m_former;
};

// The two ends of one channel, up. The callback runs for each call.
class ChannelPair {
public:
    explicit ChannelPair(std::function<void()> callback = {}, uint32 inSize = 4096, uint32 outSize = 8192);
    ~ChannelPair();
    ChannelPair(const ChannelPair&) = delete;
    ChannelPair& operator=(const ChannelPair&) = delete;

    bool IsUp() const { return m_isUp; }

    const std::wstring id = UniqueId();
    CVXCInteracterImpl sender{VXC_INTERACTER_SENDER};
    CVXCInteracterImpl receiver{VXC_INTERACTER_RECEIVER};

private:
    static int Call(void* context);

    const std::function<void()> m_callback;
    bool m_isUp = false;
};

// The server that the system sender leads to, on a thread of this process.
class PlayedServer {
public:
    // What a request holds, as far as it can be read; `bytes` are all of it.
    struct Request {
        std::wstring command;
        unsigned long long handle = 0;
        std::wstring id;
        unsigned int outSize = 0;
        std::vector<unsigned char> bytes;
    };
    // Writes the reply.
    using Answer = std::function<void(const Request&, CVXCSerialize& reply)>;

    static constexpr uint32 kSpaceBytes = 4096;

    // `complete` false: nobody is behind the sender, as when the program is missing.
    explicit PlayedServer(bool complete = true);
    ~PlayedServer();
    PlayedServer(const PlayedServer&) = delete;
    PlayedServer& operator=(const PlayedServer&) = delete;

    // Instead of serving channels.
    void AnswerBy(Answer answer);
    // A result with a handle behind it, and one with nothing behind it.
    static Answer Refusal(uint32 result, unsigned long long handle);
    static Answer LeaderOnly(uint32 result = 0);

    std::vector<Request> Requests() const;
    int Channels() const;

    const std::wstring id = UniqueId(L"sys");

private:
    static int Call(void* context);
    static int Ignore(void* context);
    void Run();
    // Makes, or releases, a channel as a server does.
    void Serve(const Request& request, CVXCSerialize& reply);

    mutable std::mutex m_mutex;
    Answer m_answer;
    std::vector<Request> m_requests;
    std::map<unsigned long long, CVXCInteracter*> m_channels;
    unsigned long long m_lastHandle = 0x1122334455660000u;
    CVXCInteracterImpl m_receiver{VXC_INTERACTER_RECEIVER};
};

// Writes a reply's leader.
void WriteLeader(CVXCSerialize& reply, uint32 result);

} // namespace vxcio::test
