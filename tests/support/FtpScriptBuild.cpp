// How steps get into a script.
#include "support/FtpScript.h"
#include "support/FtpScriptServer.h"

namespace vxcio::test {

using script::StepKind;

FtpScript& FtpScript::Add(StepKind kind, Place place, std::string_view text, uint64 number, uint32 seed,
                          uint64 from) {
    const std::lock_guard lock(m_state->mutex);
    m_state->steps.push_back({kind, place, std::string(text), number, seed, from});
    if (m_state->server != nullptr) {
        m_state->waits = false; // it has something to do again
        m_state->server->Wake();
    }
    return *this;
}

FtpScript& FtpScript::AcceptControl(Place place) {
    return Add(StepKind::AcceptControl, place);
}

FtpScript& FtpScript::Expect(std::string_view line, Place place) {
    return ExpectRaw(std::string(line) + "\r\n", place);
}

FtpScript& FtpScript::ExpectRaw(std::string_view bytes, Place place) {
    return Add(StepKind::Expect, place, bytes);
}

FtpScript& FtpScript::ExpectAny(Place place) {
    return Add(StepKind::ExpectAny, place);
}

FtpScript& FtpScript::ExpectClosed(Place place) {
    return Add(StepKind::ExpectClosed, place);
}

FtpScript& FtpScript::Say(std::string_view line, Place place) {
    return SayRaw(std::string(line) + "\r\n", place);
}

FtpScript& FtpScript::SayRaw(std::string_view bytes, Place place) {
    return Add(StepKind::Say, place, bytes);
}

FtpScript& FtpScript::Split(const std::vector<std::string>& pieces, uint32 milliseconds, Place place) {
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        if (i > 0) {
            After(milliseconds, place);
        }
        SayRaw(pieces[i], place);
    }
    return *this;
}

FtpScript& FtpScript::SayPort(std::string_view line, Place place) {
    return Add(StepKind::SayPort, place, std::string(line) + "\r\n");
}

FtpScript& FtpScript::After(uint32 milliseconds, Place place) {
    return Add(StepKind::After, place, {}, milliseconds);
}

FtpScript& FtpScript::Quiet(uint32 milliseconds, Place place) {
    return Add(StepKind::Quiet, place, {}, milliseconds);
}

FtpScript& FtpScript::Quiet(Place place) {
    return Add(StepKind::Quiet, place, {}, script::kForEver);
}

FtpScript& FtpScript::UntilTold(Place place) {
    return Add(StepKind::UntilTold, place);
}

FtpScript& FtpScript::Fin(Place place) {
    return Add(StepKind::Fin, place);
}

FtpScript& FtpScript::Rst(Place place) {
    return Add(StepKind::Rst, place);
}

FtpScript& FtpScript::Listen(Place place) {
    return Add(StepKind::Listen, place);
}

FtpScript& FtpScript::RefuseData(Place place) {
    return Add(StepKind::RefuseData, place);
}

FtpScript& FtpScript::AcceptData(Place place) {
    return Add(StepKind::AcceptData, place, {}, script::kLatest);
}

FtpScript& FtpScript::AcceptDataOn(std::size_t n, Place place) {
    return Add(StepKind::AcceptData, place, {}, n);
}

FtpScript& FtpScript::DataIsThere(Place place) {
    return Add(StepKind::DataIsThere, place);
}

FtpScript& FtpScript::NoDataYet(Place place) {
    return Add(StepKind::NoDataYet, place);
}

FtpScript& FtpScript::ExpectPort(Place place) {
    return Add(StepKind::ExpectPort, place);
}

FtpScript& FtpScript::Dial(Place place) {
    return Add(StepKind::Dial, place);
}

FtpScript& FtpScript::DSend(std::string_view bytes, Place place) {
    return Add(StepKind::DSend, place, bytes);
}

FtpScript& FtpScript::DSendPattern(uint64 bytes, uint32 seed, uint64 from, Place place) {
    return Add(StepKind::DSendPattern, place, {}, bytes, seed, from);
}

FtpScript& FtpScript::DReceive(Place place) {
    return Add(StepKind::DReceive, place, {}, script::kAll);
}

FtpScript& FtpScript::DReceive(uint64 bytes, Place place) {
    return Add(StepKind::DReceive, place, {}, bytes);
}

FtpScript& FtpScript::DFin(Place place) {
    return Add(StepKind::DFin, place);
}

FtpScript& FtpScript::DRst(Place place) {
    return Add(StepKind::DRst, place);
}

FtpScript& FtpScript::DHold(Place place) {
    return Add(StepKind::DHold, place);
}

FtpScript& FtpScript::DExpectNothing(Place place) {
    return Add(StepKind::DExpectNothing, place);
}

FtpScript& FtpScript::DExpectClosed(Place place) {
    return Add(StepKind::DExpectClosed, place);
}

FtpScript& FtpScript::Logon(std::string_view user, std::string_view password, Place place) {
    Say("220 ready", place).Expect("USER " + std::string(user), place).Say("331 password", place);
    return Expect("PASS " + std::string(password), place).Say("230 logged on", place);
}

FtpScript& FtpScript::Passive(std::string_view reply, Place place) {
    Expect("TYPE I", place).Say("200 binary", place).Expect("PASV", place);
    return Listen(place).SayPort(reply, place);
}

FtpScript& FtpScript::Active(Place place) {
    return Expect("TYPE I", place).Say("200 binary", place).ExpectPort(place).Say("200 port", place);
}

} // namespace vxcio::test
