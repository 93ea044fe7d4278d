// The faults of an episode, and its end: the digest.
#include "frame/MD5.h"
#include "stress/program/SourceEpisode.h"

#include <cstring>

namespace vxcio::stress {

using namespace test;

namespace {
constexpr int kLongestHold = 25; // ticks
}

std::wstring SourceEpisode::SomeCopy() {
    return Media::NameEnd(m_thread, m_file, m_isTwo ? static_cast<int>(m_random.Below(2)) : 0);
}

void SourceEpisode::Disturb() {
    if (!m_weather.IsRough()) {
        return;
    }
    const std::wstring copy = SomeCopy();
    const int which = copy == Media::NameEnd(m_thread, m_file, 0) ? 1 : 2;
    const int nth = 1 + static_cast<int>(m_random.Below(4));
    const bool fromThenOn = m_random.OneIn(4);
    const bool afterEffect = m_random.OneIn(3);
    m_isDisturbed = true;
    switch (m_random.Below(6)) {
    case 0: {
        const Op op = m_random.Of({Op::VXC_ReadFile, Op::VXC_ReadFile, Op::VXC_SetFilePointer,
                                   Op::VXC_GetFileSize, Op::VXC_CreateFileW});
        FaultRule rule = Fail(op).Nth(nth).OnFile(copy);
        if (fromThenOn) {
            rule.FromThenOn();
        }
        if (afterEffect) {
            rule.AfterEffect();
        }
        m_journal.Note("File%d: %s #%d fails%s%s", which, OpName(op), nth,
                       fromThenOn ? ", and all later" : "", afterEffect ? ", after its effect" : "");
        m_rules.push_back(m_weather.Add(rule));
        break;
    }
    case 1: {
        const auto most = m_random.OneIn(2) ? m_random.Below(70'000) : m_random.Below(20) * 4096;
        FaultRule rule = CutShort(Op::VXC_ReadFile, most).Nth(nth).OnFile(copy);
        if (fromThenOn) {
            rule.FromThenOn();
        }
        m_journal.Note("File%d: read #%d gives at most %u%s", which, nth, most,
                       fromThenOn ? ", and all later" : "");
        m_rules.push_back(m_weather.Add(rule));
        break;
    }
    case 2: {
        const Op op = m_random.Of({Op::VXC_CreateEventW, Op::VXC_CreateThread, Op::VXC_ResumeThread});
        m_journal.Note("%s #%d fails", OpName(op), nth);
        m_rules.push_back(m_weather.Add(Fail(op).Nth(nth).OnThisThread()));
        break;
    }
    case 3:
        m_journal.Note("the disturbance ends");
        EndDisturbance();
        m_isDisturbed = true; // what it left behind stays until the next open
        break;
    default: {
        const Op op = m_random.Of({Op::VXC_ReadFile, Op::VXC_ReadFile, Op::VXC_SetFilePointer,
                                   Op::VXC_CreateFileW, Op::VXC_CloseFile});
        const int ticks = static_cast<int>(m_random.Below(kLongestHold));
        m_journal.Note("File%d: %s #%d hangs%s%s for %d ticks", which, OpName(op), nth,
                       fromThenOn ? ", and all later" : "", afterEffect ? ", after its effect" : "", ticks);
        m_weather.Hold(op, copy, nth, fromThenOn, afterEffect, ticks);
    }
    }
}

void SourceEpisode::EndDisturbance() {
    for (const std::size_t rule : m_rules) {
        m_weather.Remove(rule);
    }
    m_rules.clear();
    m_weather.OpenGates(Media::NameEnd(m_thread, m_file, 0));
    m_weather.OpenGates(Media::NameEnd(m_thread, m_file, 1));
    m_isDisturbed = false;
}

void SourceEpisode::Digest() {
    if (!m_isOpen || !m_model.isDigested) {
        return;
    }
    m_journal.Note("GetMD5_check");
    m_check.LentEnds();
    uint8* digest = nullptr;
    int length = 0;
    m_source->GetMD5_check(1, digest, length);
    const std::unique_ptr<uint8[]> owned(digest);
    if (digest == nullptr || length != 16) {
        m_journal.Fail("no digest");
    }
    MD5_CTX md5;
    md5.Update(Content().data(), static_cast<unsigned int>(Content().size()));
    uint8 expected[16];
    md5.Final(expected);
    if (IsExact() && std::memcmp(digest, expected, sizeof expected) != 0) {
        m_journal.Fail("the digest is wrong");
    }
}

} // namespace vxcio::stress
