#include "FrameFile.h"

#include "../common/ShownName.h"
#include "frame/PlatformTypes.h"
#include "frame/Status.h"

#include <filesystem>
#include <limits>
#include <stdexcept>

namespace frame_stats {

FrameFile::FrameFile(const std::string& name, uint32 frameBytes)
    : m_name(ShownName(name)), m_source(CSoftDataSource::Construct(IOWORKMODE_FILE)), m_frame(frameBytes) {
    const std::wstring wide = std::filesystem::path(name).wstring();
    if (!m_source ||
        m_source->OpenFile(wide.c_str(), VXC_FILE_FLAG_SEQUENTIAL_SCAN, nullptr, 0) != VXC_STATUS_OK) {
        throw std::runtime_error(m_name + " cannot be opened");
    }
    const uint64 size = m_source->GetFileSize();
    if (size == 0 || size % frameBytes != 0) {
        throw std::runtime_error(m_name + " holds " + std::to_string(size / frameBytes) + " frames of " +
                                 std::to_string(frameBytes) + " bytes and " +
                                 std::to_string(size % frameBytes) + " bytes more");
    }
    if (size / frameBytes > std::numeric_limits<uint32>::max()) {
        throw std::runtime_error(m_name + " holds more frames than can be counted");
    }
    m_frames = static_cast<uint32>(size / frameBytes);
}

const std::vector<uint8>& FrameFile::Next() {
    if (m_source->Read(m_frame.data(), static_cast<uint32>(m_frame.size())) !=
        static_cast<int>(m_frame.size())) {
        throw std::runtime_error(m_name + " cannot be read to its end");
    }
    return m_frame;
}

} // namespace frame_stats
