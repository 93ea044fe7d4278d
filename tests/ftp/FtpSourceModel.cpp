#include "FtpSourceModel.h"

#include <algorithm>
#include <cstring>

namespace vxcio::test {

namespace {
constexpr int kBackSize = 1048576;
constexpr int kFarthestReadOn = 4194304;
} // namespace

FtpSourceModel::FtpSourceModel(const std::string& file) : m_file(file), m_back(kBackSize) {}

std::string FtpSourceModel::Take(int bytes) {
    if (m_stream >= m_file.size() || bytes <= 0) {
        return {};
    }
    const std::string taken = m_file.substr(m_stream, static_cast<std::size_t>(bytes));
    m_stream += taken.size();
    return taken;
}

// ---- Reading ------------------------------------------------------------------------------------------

int FtpSourceModel::Read(std::string& buffer) {
    const int bytes = static_cast<int>(buffer.size());
    return ReadTo(buffer.data(), bytes, bytes);
}

int FtpSourceModel::ReadTo(char* buffer, int bytes, int room) {
    const auto move = [](char* to, const char* from, int count) {
        std::memmove(to, from, static_cast<std::size_t>(count));
    };
    if (m_pending > 0 && bytes <= m_pending) {
        move(buffer, m_back.data(), bytes);
        const int following = m_pending - bytes;
        move(buffer, m_back.data() + bytes, following < room ? following : room);
        m_pending = following;
        return bytes;
    }
    const int served = m_pending;
    move(buffer, m_back.data(), served);
    m_pending = 0;
    const int rest = bytes - served;
    const std::string got = m_isAhead ? ReadAt(m_position, rest) : Take(rest);
    if (!m_isAhead) {
        m_position += got.size();
    }
    move(buffer + served, got.data(), static_cast<int>(got.size()));
    m_valid = rest > kBackSize ? kBackSize : rest;
    move(m_back.data(), buffer + bytes - m_valid, m_valid);
    return served + static_cast<int>(got.size());
}

// ---- Seeking ------------------------------------------------------------------------------------------

uint64 FtpSourceModel::TargetOf(int64 offset, uint32 origin) const {
    const int64 base = origin == 2   ? static_cast<int64>(m_file.size())
                       : origin == 3 ? static_cast<int64>(m_position)
                                     : 0;
    return static_cast<uint64>(base + offset);
}

int32 FtpSourceModel::DistanceTo(uint64 target) const {
    return static_cast<int32>(static_cast<uint32>(target - m_position));
}

std::optional<uint64> FtpSourceModel::TransferOf(int64 offset, uint32 origin) const {
    const uint64 target = TargetOf(offset, origin);
    const int64 distance = DistanceTo(target);
    const bool isNear =
        (distance > 0 && distance <= kFarthestReadOn) || (distance < 0 && -distance <= m_valid);
    return target == m_position || isNear ? std::nullopt : std::optional(target);
}

int64 FtpSourceModel::Seek(int64 offset, uint32 origin) {
    const uint64 target = TargetOf(offset, origin);
    if (target == m_position) {
        return static_cast<int64>(m_position);
    }
    int distance = DistanceTo(target);
    if (TransferOf(offset, origin)) {
        m_position = target;
        m_stream = target;
    } else if (distance < 0) {
        m_pending = -distance;
        std::memmove(m_back.data(), m_back.data() + m_valid - m_pending, static_cast<std::size_t>(m_pending));
        return static_cast<int64>(target);
    } else {
        while (distance > 0) {
            const int got = ReadTo(m_back.data(), std::min(distance, kBackSize), kBackSize);
            if (got == 0) {
                break;
            }
            distance -= got;
        }
    }
    return static_cast<int64>(m_position);
}

// ---- Read-ahead ---------------------------------------------------------------------------------------

void FtpSourceModel::Fill(Sequence& sequence) {
    sequence.position = m_stream;
    sequence.bytes = Take(m_block);
}

void FtpSourceModel::EnablePreRead(int block, int least) {
    const int wanted = 2 * block < least ? (2 * least / 512 + 1) * 512 : block;
    if (m_isAhead && wanted == m_block && least == m_least) {
        return;
    }
    m_isAhead = true;
    m_block = wanted;
    m_least = least;
    m_current = -1;
    Fill(m_sequences[0]);
    Fill(m_sequences[1]);
}

void FtpSourceModel::DisablePreRead() {
    m_isAhead = false;
    m_current = -1;
}

std::string FtpSourceModel::ReadAt(uint64 position, int bytes) {
    const bool isFirst = m_current == -1;
    m_current = std::max(m_current, 0);
    Sequence& current = m_sequences[m_current];
    Sequence& other = m_sequences[1 - m_current];
    if (current.bytes.empty() && !isFirst) {
        return {};
    }
    const auto part = [bytes](const Sequence& sequence, uint64 from) {
        const uint64 offset = from - sequence.position;
        return offset >= sequence.bytes.size()
                   ? std::string()
                   : sequence.bytes.substr(offset, static_cast<std::size_t>(bytes));
    };
    const auto block = static_cast<uint64>(m_block);
    const uint64 end = position + static_cast<uint64>(bytes);
    if (position >= current.position && end <= current.position + block) {
        const std::string found = part(current, position);
        m_position += found.size();
        return found;
    }
    std::string found;
    int next = 1 - m_current;
    if (position >= other.position && position <= other.position + block) {
        found = part(other, position);
    } else if (position >= current.position && position < current.position + block) {
        found = part(current, position);
        if (!found.empty()) {
            found += other.bytes.substr(0, static_cast<std::size_t>(bytes) - found.size());
        }
    } else {
        m_sequences[0].bytes = Take(m_block);
        m_sequences[0].position = position;
        found = m_sequences[0].bytes.substr(0, static_cast<std::size_t>(bytes));
        next = 0;
    }
    m_current = next;
    Fill(m_sequences[1 - next]);
    m_position += found.size();
    return found;
}

} // namespace vxcio::test
