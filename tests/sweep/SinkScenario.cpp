#include "sweep/SinkScenario.h"

#include <algorithm>

namespace vxcio::test {

namespace {

constexpr uint32 kUpdate = 2;
constexpr std::size_t kBeforeSize = 70'001;
constexpr std::size_t kBodyAt = 50'001;
constexpr std::size_t kBodySize = 600'000; // more than a node of the ring, which goes out within a write
constexpr std::size_t kPatchAt = 77;
constexpr std::size_t kPatchSize = 1000;
constexpr std::size_t kTailSize = 1'200'000; // more than the ring
constexpr std::size_t kPiece = 300'001;

std::vector<uint8> Over(std::vector<uint8> file, std::size_t at, const std::vector<uint8>& bytes) {
    file.resize(std::max(file.size(), at + bytes.size()));
    std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<std::ptrdiff_t>(at));
    return file;
}

// Writes all in pieces.
void Write(CWriteFileEx1& sink, const std::vector<uint8>& bytes, SinkOutcome& outcome) {
    for (std::size_t at = 0; at < bytes.size(); at += kPiece) {
        const auto count = static_cast<uint32>(std::min(kPiece, bytes.size() - at));
        const auto result = static_cast<uint32>(sink.Write(bytes.data() + at, count, nullptr));
        outcome.cameBack = outcome.cameBack || (result != 0 && !outcome.allWritten);
        outcome.allWritten = outcome.allWritten && result == count;
    }
}

} // namespace

SinkScenario::SinkScenario(const WritePath& path)
    : m_path(path), m_before(Pattern(kBeforeSize, 21)), m_body(Pattern(kBodySize, 22)),
      m_patch(Pattern(kPatchSize, 23)), m_tail(Pattern(kTailSize, 24)),
      m_flushed(Over(Over(m_before, kBodyAt, m_body), kPatchAt, m_patch)),
      m_after(Over(m_flushed, m_flushed.size(), m_tail)) {}

SinkOutcome SinkScenario::Run(CWriteFileEx1& sink, const std::wstring& name) const {
    SinkOutcome outcome;
    if (!sink.IsComplete()) { // nobody gets such a one
        outcome.status = VXC_STATUS_OPEN_WRITE;
        outcome.allWritten = false;
        return outcome;
    }
    outcome.status =
        sink.OpenFile(name.c_str(), m_path.bufferBytes, 0, kUpdate, m_path.flags, 0, 0, 0, 0, nullptr);
    sink.Seek(kBodyAt, 1);
    Write(sink, m_body, outcome);
    sink.Seek(kPatchAt, 1);
    Write(sink, m_patch, outcome);
    std::vector<uint8> back(3000, 0xEE);
    sink.Seek(70, 1);
    if (sink.ReadBack(back.data(), 3000) != 0 && WriteFileInspector::IsGood(sink)) {
        outcome.wrongRead = !std::equal(back.begin(), back.end(), m_flushed.begin() + 70);
    }
    sink.Seek(0, 2);
    Write(sink, m_tail, outcome);
    outcome.wasGood = WriteFileInspector::IsGood(sink);
    sink.CloseFile();
    outcome.isGood = WriteFileInspector::IsGood(sink);
    return outcome;
}

// Each byte is one that was there or one that was to come there, and none lies beyond the padded end. What
// was never written reads as zero. A ring goes on behind a write that failed, where the file then stands:
// within what is being written anything may come of that, but nowhere else.
bool SinkScenario::IsMade(const std::vector<uint8>& content) const {
    constexpr std::size_t kSector = 4096;
    const bool goesOn = m_path.bufferBytes != 0;
    if (content == m_after) {
        return true;
    }
    if (content.size() < m_before.size() ||
        content.size() > (m_after.size() + kSector - 1) / kSector * kSector) {
        return false;
    }
    for (std::size_t i = 0; i < (goesOn ? kBodyAt : content.size()); ++i) {
        const uint8 byte = content[i];
        const bool isOld = i < m_before.size() ? byte == m_before[i] : byte == 0;
        if (!isOld && (i >= m_after.size() || byte != m_after[i])) {
            return false;
        }
    }
    return true;
}

// All is there; past the cache the last sector may stand there whole, as when the file could not be cut.
bool SinkScenario::IsWhole(const std::vector<uint8>& content) const {
    const bool isPadded = (m_path.flags & VXC_FILE_FLAG_NO_BUFFERING) != 0;
    return std::equal(m_after.begin(), m_after.end(), content.begin(),
                      content.begin() +
                          static_cast<std::ptrdiff_t>(std::min(content.size(), m_after.size()))) &&
           (isPadded || content.size() == m_after.size());
}

std::string SinkScenario::Judge(const SinkOutcome& outcome) const {
    if (outcome.status != VXC_STATUS_OK) {
        if (outcome.status != VXC_STATUS_OPEN_WRITE && outcome.status != VXC_STATUS_TIME_OUT) {
            return "a status that no open has: " + std::to_string(outcome.status);
        }
        if (outcome.content != m_before || outcome.allWritten || outcome.cameBack) {
            return "a sink that is not open did something";
        }
        return {};
    }
    if (outcome.cameBack) {
        return "a write succeeded behind one that failed";
    }
    if (!IsMade(outcome.content)) {
        return "bytes that nobody wrote there";
    }
    const bool isConfirmed = outcome.allWritten && outcome.wasGood;
    if (isConfirmed && (outcome.content.size() < m_flushed.size() ||
                        !std::equal(m_flushed.begin(), m_flushed.end(), outcome.content.begin()))) {
        return "bytes that were flushed are lost";
    }
    const bool tellsAtOnce = m_path.bufferBytes == 0;
    if (outcome.wrongRead && (tellsAtOnce || isConfirmed)) {
        return "other bytes came back";
    }
    if (tellsAtOnce && outcome.isGood && !(outcome.allWritten && IsWhole(outcome.content))) {
        return "a good sink left a file that is not whole";
    }
    return {};
}

std::string SinkScenario::JudgeClean(const SinkOutcome& outcome) const {
    const bool isGood = outcome.status == VXC_STATUS_OK && outcome.allWritten && outcome.wasGood &&
                        outcome.isGood && !outcome.wrongRead && outcome.content == m_after;
    return isGood ? std::string() : "something went wrong where nothing failed";
}

} // namespace vxcio::test
