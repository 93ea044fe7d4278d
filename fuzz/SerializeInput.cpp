#include "fuzz/SerializeInput.h"

#include "bridge/StreamModelPair.h"
#include "fuzz/Require.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace vxcio::fuzz {

namespace {

using test::StreamCall;
using test::StreamCallKind;
using test::StreamModelPair;

constexpr unsigned kKinds = static_cast<unsigned>(StreamCallKind::Count);
constexpr unsigned kForms = 3;

// Bytes 0 to 59 are calls in their three forms; those behind change a field.
constexpr unsigned kSetError = kKinds * kForms;
constexpr unsigned kSetDirection = kSetError + 1;
constexpr unsigned kSetPosition = kSetError + 2;
constexpr unsigned kSetCapacity = kSetError + 3;
constexpr unsigned kSetBuffer = kSetError + 4;
constexpr unsigned kFields = 6;
constexpr unsigned kActions = kSetError + kFields;

// Characters that text is made of: corners of UTF-16.
constexpr std::uint32_t kCharacters[] = {0x41, 0xFF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xFFFF, 0x1F600};

StreamCall MakeCall(unsigned action, std::uint8_t number, std::size_t room) {
    StreamCall call;
    call.kind = StreamCallKind{static_cast<int>(action / kForms)};
    call.form = StreamCall::Form{static_cast<int>(action % kForms)};
    call.bits = number * 0x0102030405060708u;
    call.text.assign(number >> 4, L'z');
    for (std::size_t i = 0; i < call.text.size(); ++i) {
        call.text[i] = static_cast<wchar_t>(kCharacters[(number + i * 3) % std::size(kCharacters)]);
    }
    call.block.assign(number & 31u, number);
    call.from = static_cast<std::uint32_t>(std::min<std::size_t>(number >> 3, room));
    call.count = static_cast<std::uint32_t>(std::min<std::size_t>(number & 15u, room - call.from));
    return call;
}

void ChangeField(StreamModelPair& pair, unsigned action, std::uint8_t number) {
    const auto size = static_cast<std::uint32_t>(pair.Model().bytes.size());
    switch (action) {
    case kSetError:
        pair.SetError(number & 3);
        break;
    case kSetDirection:
        pair.SetDirection(number & 3);
        break;
    case kSetPosition:
        // The upper half of the numbers is the very end of what a position can say.
        pair.SetPosition(number < 128 ? number : 0xFFFFFF00u + number);
        break;
    case kSetCapacity:
        pair.SetCapacity(std::min<std::uint32_t>(size, number));
        break;
    case kSetBuffer:
        pair.SetBuffer((number & 1) != 0);
        break;
    default:
        if (size > 0) {
            pair.SetByte(number % size, number);
        }
        break;
    }
}

} // namespace

void FuzzSerialize(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return;
    }
    const std::size_t calls = std::min<std::size_t>(data[0] >> 1, (size - 1) / 2);
    const std::uint8_t* const actions = data + 1;
    const std::vector<std::uint8_t> buffer(actions + calls * 2, data + size);
    StreamModelPair pair(buffer, data[0] & 1);
    for (std::size_t i = 0; i < calls; ++i) {
        const unsigned action = actions[i * 2] % kActions;
        const std::uint8_t number = actions[i * 2 + 1];
        if (action < kSetError) {
            const bool same = pair.Do(MakeCall(action, number, buffer.size()));
            Require(same, pair.Difference().c_str());
        } else {
            ChangeField(pair, action, number);
        }
    }
}

} // namespace vxcio::fuzz
