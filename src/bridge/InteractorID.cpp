#include "bridge/InteractorID.h"

#include "bridge/SystemSender.h"
#include "frame/Log.h"
#include "platform/Process.h"

#include <algorithm>
#include <cstring>
#include <string_view>

using namespace vxcio;

namespace {

constexpr uint32 kPause = 100; // milliseconds; ids of two calls differ at least by their time
constexpr uint32 kTickRange = 100000000;

// Where the parts of an id stand when the process's number has eight digits.
constexpr std::size_t kTagPosition = 9;
constexpr std::size_t kTagCharacters = 2;
constexpr std::size_t kIndexPosition = 12;
constexpr std::size_t kIndexCharacters = 3;
constexpr std::size_t kLeastCharacters = 30;

struct TypeTag {
    ENUM_PLUG_TYPE type;
    const wchar_t* tag;
};

constexpr TypeTag kTags[] = {
    {PLUG_TYPE_VIDEO_ENCODER, L"VE"},    {PLUG_TYPE_VIDEO_DECODER, L"VD"},   {PLUG_TYPE_MUXER, L"MU"},
    {PLUG_TYPE_SPLITTER, L"SP"},         {PLUG_TYPE_AUDIO_ENCODER, L"AE"},   {PLUG_TYPE_AUDIO_DECODER, L"AD"},
    {PLUG_TYPE_SUBTITLE_ENCODER, L"SE"}, {PLUG_TYPE_SUBTITLE_DECODER, L"SD"}};

const wchar_t* TagOf(ENUM_PLUG_TYPE type) noexcept {
    for (const TypeTag& entry : kTags) {
        if (entry.type == type) {
            return entry.tag;
        }
    }
    return L"UN";
}

// As the C library reads a number: blanks, a sign, and digits as far as they go.
unsigned int NumberOf(std::wstring_view text) noexcept {
    std::size_t i = 0;
    while (i < text.size() && (text[i] == L' ' || (text[i] >= L'\t' && text[i] <= L'\r'))) {
        ++i;
    }
    bool negative = false;
    if (i < text.size() && (text[i] == L'-' || text[i] == L'+')) {
        negative = text[i++] == L'-';
    }
    unsigned int number = 0;
    for (; i < text.size() && text[i] >= L'0' && text[i] <= L'9'; ++i) {
        number = number * 10 + static_cast<unsigned int>(text[i] - L'0');
    }
    return negative ? 0 - number : number;
}

} // namespace

int CreateVXCInteractorID(ENUM_PLUG_TYPE type, unsigned int index, wchar_t* buffer,
                          unsigned int bufferBytes) noexcept {
    if (ProcessIdText().IsEmpty()) {
        MakeProcessIdText();
    }
    VXC_Sleep(kPause);
    const uint32 ticks = VXC_GetTickCount() % kTickRange;
    const int chance = Process().random();
    CVXCString id;
    const CVXCString process = ProcessIdText();
    id.Format(L"%s_%s_%03d_%08d_%05d_%05d", process.c_str(), TagOf(type), index, ticks, chance,
              Process().threadId());
    const bool whole = !process.IsEmpty() && !id.IsEmpty(); // unless memory lacks
    const std::size_t bytes = (static_cast<std::size_t>(id.GetLength()) + 1) * sizeof(wchar_t);
    if (!whole || buffer == nullptr || bufferBytes < bytes) {
        LogError(L"%s", L"CreateVXCInteractorID Failed! bufsize to small!");
        return -1;
    }
    std::memcpy(buffer, id.c_str(), bytes);
    return 0;
}

int ParseVXCInteractorID(const wchar_t* id, ENUM_PLUG_TYPE* type, unsigned int* index) noexcept {
    if (id == nullptr || type == nullptr || index == nullptr) {
        LogError(L"%s", L"ParseVXCInteractorID Failed! Parameters is NULL");
        return -1;
    }
    const std::wstring_view text(id);
    if (text.size() < kLeastCharacters) {
        LogError(L"%s", L"ParseVXCInteractorID Failed! Parameters is VALID < 30");
        return -1;
    }
    const std::wstring_view tag = text.substr(kTagPosition, kTagCharacters);
    *type = static_cast<ENUM_PLUG_TYPE>(0);
    for (const TypeTag& entry : kTags) {
        if (tag == entry.tag) {
            *type = entry.type;
            break;
        }
    }
    *index = NumberOf(text.substr(kIndexPosition, kIndexCharacters));
    return 0;
}
