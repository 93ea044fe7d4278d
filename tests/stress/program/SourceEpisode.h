// SourceEpisode.h - the life of one source: opened, read in every way, disturbed, closed in mid-air; each
// result held against a plain model of the file.
//
// What is allowed: without faults every count, position and byte is what the model says. From the first
// fault on until the next open counts may be smaller, positions follow the counts, and sizes may be 0; the
// bytes that come are the file's even so.
#pragma once

#include "sources/FileSource.h"
#include "stress/program/CheckedRead.h"
#include "stress/program/Episodes.h"
#include "stress/program/Journal.h"
#include "stress/program/Media.h"
#include "stress/program/Random.h"
#include "stress/program/Weather.h"

#include <memory>
#include <vector>

namespace vxcio::stress {

// One thread.
class SourceEpisode {
public:
    SourceEpisode(Random& random, Journal& journal, const Media& media, Weather& weather, const Kinds& kinds,
                  int thread);
    // Lives and ends.
    void Run();

private:
    // What the model knows of the source.
    struct Model {
        int64 readPos = 0;
        int64 filePos = 0;
        bool isFilePosKnown = true; // the thread of read-ahead moves it
        bool isAhead = false;
        bool isWhole = false;
        uint32 preReadSize = 0;
        bool isDigested = false;
    };

    void Open();
    void Close();
    void OneOperation();
    void Read();
    void ReadAt(bool atPosition);
    void Seek();
    void Enable();
    void Disable();
    void GetFileSize();
    void Repeat();
    void Digest();
    void Disturb();
    void EndDisturbance();

    uint32 SomeLength();
    int64 SomePosition();
    std::wstring SomeCopy();
    bool IsExact() const { return !m_isDisturbed && (!m_isTwo || !m_weather.IsRough()); }
    uint64 SizeAhead(int bufferBytes, int minimumBytes) const;
    uint32 Left(int64 position, uint32 bytes) const;
    void CheckCount(uint32 got, uint32 expected);
    void SeekAhead(int64 offset, uint32 origin);
    void SeekPlain(int64 offset, uint32 origin);
    const std::vector<uint8>& Content() const { return m_media.Content(m_file); }

    Random& m_random;
    Journal& m_journal;
    const Media& m_media;
    Weather& m_weather;
    const Kinds m_kinds;
    const int m_thread;
    std::unique_ptr<CFileSource> m_source;
    CheckedRead m_check;
    Model m_model;
    int m_file = 0;
    bool m_isTwo = false;
    bool m_isOpen = false;
    uint32 m_flags = 0;
    uint32 m_blockSize = 0;
    uint32 m_sectorSize = 512;
    bool m_isDisturbed = false;
    std::vector<std::size_t> m_rules;
};

} // namespace vxcio::stress
