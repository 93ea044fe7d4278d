// The plug-in: counts the luma of the frames that a host sends. It is loaded by the plug-in server, one
// instance for each channel.
#include "LumaStatistics.h"
#include "Wire.h"

#include "bridge/Records.h"
#include "bridge/VXC32Plug.h"

#include <cwchar>

using namespace frame_stats;

namespace {

// What a request brought. The record of a frame may come with an attachment, which is ours then.
struct Frame {
    SPlugFRAMEINFO info = {};
    SPlugSoftImageBuffer image = {};
    const uint8* bytes = nullptr; // on the request itself, so the host may still write there
    uint32 count = 0;

    Frame() = default;
    ~Frame() { SerilizeFree(info.append.data); }
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;

    bool Take(CVXCSerialize& request) {
        request >> info >> image;
        unsigned char* block = nullptr;
        const int taken = request.ReadBlock(block, count, 0);
        bytes = block;
        return taken != 0 && request.m_nError == VXC_SERIALIZE_OK;
    }
};

// Whether a plane lies in a block of so many bytes. All sums in 64 bits: none of the values is to be trusted.
bool Fits(const SPlugSoftImageBuffer& image, uint32 plane, uint64 bytes) {
    const uint64 begin = image.planeA[plane];
    const uint64 pitch = image.planeB[plane];
    const uint64 columns = image.planeC[plane];
    const uint64 rows = image.planeD[plane];
    if (columns == 0 || rows == 0 || rows > kMostPixels || columns > pitch) {
        return false;
    }
    return begin + pitch * (rows - 1) + columns <= bytes;
}

int Check(const SPlugSoftImageBuffer& image, uint32 bytes) {
    if ((image.value0 != static_cast<EPlugValue>(FORMAT_420) &&
         image.value0 != static_cast<EPlugValue>(FORMAT_422)) ||
        image.value3 == 0 || image.value3 > kMostPlanes) {
        return kResultUnknownFormat;
    }
    const uint32 width = image.value1;
    const uint32 height = image.value2;
    if (width == 0 || width > kMostPixels || height == 0 || height > kMostPixels ||
        image.planeC[0] != width || image.planeD[0] != height) {
        return kResultWrongSizes;
    }
    for (uint32 plane = 0; plane < image.value3; ++plane) {
        if (!Fits(image, plane, bytes)) {
            return kResultWrongSizes;
        }
    }
    return 0;
}

// Of one channel, whose calls come one after the other.
class Instance {
public:
    int Call(uint32 command, const wchar_t* name, CVXCSerialize& request, CVXCSerialize& reply) {
        if (command == kReset) {
            m_total = {};
            return 0;
        }
        if (command == kEcho) {
            return Echo(request, reply);
        }
        if (command == 0 && std::wcscmp(name, kStatistics) == 0) {
            return Count(request, reply);
        }
        if (command == 0 && std::wcscmp(name, kTotal) == 0) {
            StoreStatistics(reply, m_total);
            return 0;
        }
        return kResultUnknownCommand;
    }

private:
    int Count(CVXCSerialize& request, CVXCSerialize& reply) {
        Frame frame;
        if (!frame.Take(request)) {
            return kResultGarbled;
        }
        if (const int result = Check(frame.image, frame.count); result != 0) {
            return result;
        }
        LumaStatistics statistics;
        statistics.frames = 1;
        statistics.timeCode = frame.info.timeCode;
        statistics.histogram = CountLuma(frame.bytes + frame.image.planeA[0], frame.image.planeC[0],
                                         frame.image.planeD[0], frame.image.planeB[0]);
        StoreStatistics(reply, statistics);
        // A frame whose statistics did not reach the host does not count, so that it may send it again.
        if (reply.m_nError == VXC_SERIALIZE_OK) {
            m_total.Add(statistics);
        }
        return 0;
    }

    static int Echo(CVXCSerialize& request, CVXCSerialize& reply) {
        unsigned char* bytes = nullptr;
        unsigned int count = 0;
        if (request.ReadBlock(bytes, count, 0) == 0) {
            return kResultGarbled;
        }
        reply.WriteBlock(bytes, count);
        return 0;
    }

    LumaStatistics m_total;
};

} // namespace

// What these throw, the server answers for.
VXC32PLUG_EXPORT void* VXC32PlugOpen(uint64 plugHandle, const wchar_t* channelId) {
    static_cast<void>(plugHandle);
    static_cast<void>(channelId);
    return new Instance;
}

VXC32PLUG_EXPORT void VXC32PlugClose(void* instance) {
    delete static_cast<Instance*>(instance);
}

VXC32PLUG_EXPORT int VXC32PlugCall(void* instance, uint32 command, const wchar_t* commandString,
                                   CVXCSerialize& request, CVXCSerialize& reply) {
    return static_cast<Instance*>(instance)->Call(command, commandString, request, reply);
}
