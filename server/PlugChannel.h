// PlugChannel.h - the server's end of one channel to a plug-in, and the plug-in's instance behind it.
#pragma once

#include "Plug.h"
#include "bridge/Interacter.h"
#include "frame/Types.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

namespace vxcserver {

// Requests are carried out on the channel's own thread, everything else comes from the server's.
class PlugChannel : public std::enable_shared_from_this<PlugChannel> {
public:
    PlugChannel(std::shared_ptr<Plug> plug, uint64 plugHandle, const wchar_t* id);
    ~PlugChannel();
    PlugChannel(const PlugChannel&) = delete;
    PlugChannel& operator=(const PlugChannel&) = delete;

    // Brings the channel up; false where that failed. To be called once.
    bool Begin(uint32 outSize);
    // Ends the channel and the instance, on a thread of its own, since a plug-in may never come back. False
    // when that takes longer; it goes on then, and another call waits for the same end.
    bool End(std::chrono::milliseconds limit);

    uint64 PlugHandle() const { return m_plugHandle; }

private:
    struct Deleter {
        void operator()(CVXCInteracter* channel) const { DeleteVXCInteratcter(channel); }
    };

    static int Serve(void* channel);
    void ServeOne();
    void Close();

    const std::shared_ptr<Plug> m_plug;
    const uint64 m_plugHandle;
    const std::wstring m_id;
    std::unique_ptr<CVXCInteracter, Deleter> m_end;

    // The receiver thread's, and the closing thread's when that one has ended.
    void* m_instance = nullptr;
    bool m_opened = false;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_closing = false; // guarded by the mutex
    bool m_closed = false;  // guarded by the mutex
};

} // namespace vxcserver
