// FtpSourceModel.h - what an FTP source gives for each call, worked out plainly: a stream over a file, the
// back buffer, and the two blocks of read-ahead, which are filled at the moment when the thread is told to.
#pragma once

#include "frame/Types.h"

#include <optional>
#include <string>
#include <vector>

namespace vxcio::test {

// Of a transfer without faults. One thread.
class FtpSourceModel {
public:
    explicit FtpSourceModel(const std::string& file);

    // What the buffer of a read holds afterwards; its length is that of the request.
    int Read(std::string& buffer);
    int64 Seek(int64 offset, uint32 origin);
    void EnablePreRead(int block, int least);
    void DisablePreRead();
    // The bytes.
    std::string ReadAt(uint64 position, int bytes);

    // Where a transfer would begin if this seek needs one.
    std::optional<uint64> TransferOf(int64 offset, uint32 origin) const;

    uint64 Position() const { return m_position; }
    int BackValid() const { return m_valid; }
    bool IsAhead() const { return m_isAhead; }
    int Block() const { return m_block; }

private:
    struct Sequence {
        uint64 position = 0;
        std::string bytes;
    };

    uint64 TargetOf(int64 offset, uint32 origin) const;
    int32 DistanceTo(uint64 target) const;
    std::string Take(int bytes);
    void Fill(Sequence& sequence);
    int ReadTo(char* buffer, int bytes, int room);

    const std::string& m_file;
    uint64 m_position = 0;
    uint64 m_stream = 0;
    std::vector<char> m_back;
    int m_valid = 0;
    int m_pending = 0;
    bool m_isAhead = false;
    int m_block = 0;
    int m_least = 0;
    int m_current = -1;
    Sequence m_sequences[2];
};

} // namespace vxcio::test
