#include "bridge/LargeCopy.h"

#include <chrono>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <emmintrin.h>
#endif

namespace vxcio {

namespace {

// Smaller pieces are as well off in the cache.
constexpr std::size_t kLeast = std::size_t{64} << 10;

bool Overlap(const unsigned char* a, const unsigned char* b, std::size_t bytes) noexcept {
    const auto x = reinterpret_cast<std::uintptr_t>(a);
    const auto y = reinterpret_cast<std::uintptr_t>(b);
    return x - y < bytes || y - x < bytes;
}

#if defined(__x86_64__) || defined(__i386__)

constexpr std::size_t kLine = 64;

__attribute__((target("sse2"))) void CopyLines(unsigned char* to, const unsigned char* from,
                                               std::size_t bytes) noexcept {
    const std::size_t head = (kLine - reinterpret_cast<std::uintptr_t>(to) % kLine) % kLine;
    std::size_t done = head < bytes ? head : bytes;
    std::memcpy(to, from, done);
    for (; done + kLine <= bytes; done += kLine) {
        const auto* const source = reinterpret_cast<const __m128i*>(from + done);
        auto* const target = reinterpret_cast<__m128i*>(to + done);
        const __m128i a = _mm_loadu_si128(source);
        const __m128i b = _mm_loadu_si128(source + 1);
        const __m128i c = _mm_loadu_si128(source + 2);
        const __m128i d = _mm_loadu_si128(source + 3);
        _mm_stream_si128(target, a);
        _mm_stream_si128(target + 1, b);
        _mm_stream_si128(target + 2, c);
        _mm_stream_si128(target + 3, d);
    }
    std::memcpy(to + done, from + done, bytes - done);
    _mm_sfence(); // such stores have no order of their own
}

#endif

constinit CopyChoice g_choice;

} // namespace

bool CopyPastTheCache(unsigned char* to, const unsigned char* from, std::size_t bytes) noexcept {
#if defined(__x86_64__) || defined(__i386__)
    if (__builtin_cpu_supports("sse2") != 0) {
        CopyLines(to, from, bytes);
        return true;
    }
#endif
    (void)to;
    (void)from;
    (void)bytes;
    return false;
}

void CopyForAnotherCore(unsigned char* to, const unsigned char* from, std::size_t bytes) noexcept {
    if (bytes < kLeast || Overlap(to, from, bytes)) {
        std::memmove(to, from, bytes);
        return;
    }
    if (g_choice.Next() && CopyPastTheCache(to, from, bytes)) {
        return;
    }
    const auto start = std::chrono::steady_clock::now();
    std::memcpy(to, from, bytes);
    const std::chrono::nanoseconds took = std::chrono::steady_clock::now() - start;
    g_choice.Took(bytes, static_cast<uint64>(took.count()));
}

} // namespace vxcio
