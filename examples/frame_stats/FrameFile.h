// FrameFile.h - raw frames of one size, read through the library.
#pragma once

#include "frame/Types.h"
#include "module/VXCSoftCodecIO.h"

#include <memory>
#include <string>
#include <vector>

namespace frame_stats {

class FrameFile {
public:
    // Throws std::runtime_error where it cannot be opened, holds no frame, not whole frames alone, or more
    // of them than 32 bits can count.
    FrameFile(const std::string& name, uint32 frameBytes);

    uint32 Frames() const noexcept { return m_frames; }
    // The next frame; throws std::runtime_error where it cannot be read.
    const std::vector<uint8>& Next();

private:
    struct CloseAndDelete {
        void operator()(CSoftDataSource* source) const {
            source->CloseFile();
            delete source;
        }
    };

    const std::string m_name;
    std::unique_ptr<CSoftDataSource, CloseAndDelete> m_source;
    std::vector<uint8> m_frame;
    uint32 m_frames = 0;
};

} // namespace frame_stats
