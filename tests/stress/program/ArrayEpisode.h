// ArrayEpisode.h - the life of one list of files read as one stream, held against the files joined.
//
// Only faults that change no result take part: reads that hang for a while. A short read of one file makes an
// array go on with the next one, so what comes after a failure is no stream any more.
#pragma once

#include "sources/SoftDataSourceArray.h"
#include "stress/program/CheckedRead.h"
#include "stress/program/Episodes.h"

#include <memory>
#include <vector>

namespace vxcio::stress {

// One thread.
class ArrayEpisode {
public:
    ArrayEpisode(Random& random, Journal& journal, const Media& media, Weather& weather, const Kinds& kinds,
                 int thread);
    void Run();

private:
    void Open();
    void Read();
    void ReadAtStart();
    void Seek();
    void TurnReadAhead();
    void Hang();

    Random& m_random;
    Journal& m_journal;
    const Media& m_media;
    Weather& m_weather;
    const Kinds m_kinds;
    const int m_thread;
    std::unique_ptr<CQLSoftDataSourceArray> m_array;
    CheckedRead m_check;
    std::vector<int> m_files;
    std::vector<uint8> m_content; // of all files
    std::size_t m_firstSize = 0;  // of the first file
    int64 m_position = 0;         // of the stream
    bool m_isNowhere = false;     // a seek found no file
    bool m_isAhead = false;
};

} // namespace vxcio::stress
