// Many sources at once, each with read-ahead.
#include "frame/MD5.h"
#include "frame/Status.h"
#include "sources/SourceFixture.h"
#include "support/LeakChecks.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kSources = 200;
constexpr uint32 kSize = 3'000'001;
constexpr uint32 kRing = 2u << 20;
constexpr uint64 kBeside = 256u << 10; // what a source may take beside its ring

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr uint64 kShadow = 8; // a sanitizer keeps notes on each byte
#else
constexpr uint64 kShadow = 1;
#endif

// Bytes of memory that the process really holds.
uint64 ResidentBytes() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") {
            uint64 kibibytes = 0;
            status >> kibibytes;
            return kibibytes << 10;
        }
    }
    return 0;
}

} // namespace

TEST(ManySourcesTest, TwoHundredWithReadAheadKeepTheirDigestsAndTheirMeasure) {
    const NoLeakScope noLeaks(30'000);
    const TempFolder folder;
    std::vector<std::wstring> names;
    std::vector<Digest> digests;
    for (uint32 i = 0; i < 4; ++i) {
        const std::string name = "clip" + std::to_string(i);
        folder.WritePattern(name, kSize, i);
        names.push_back(folder.Wide(name));
        digests.push_back(DigestOf(Pattern(kSize, i)));
    }
    const int threads = ThreadCount();
    const uint64 memory = ResidentBytes();
    ASSERT_GT(memory, 0u);
    std::vector<std::unique_ptr<CFileSource>> sources;
    for (int i = 0; i < kSources; ++i) {
        sources.push_back(std::make_unique<CFileSource>());
        CFileSource& source = *sources.back();
        ASSERT_EQ(source.OpenFile(names[static_cast<std::size_t>(i) % 4].c_str(), 0, nullptr, 0),
                  VXC_STATUS_OK);
        source.EnableMD5_Check(1);
        source.BeginMD5_Check(1);
        source.EnablePreRead(kRing, 0);
        ASSERT_EQ(FileSourceInspector::PreReadSize(source), kRing);
    }
    // In turns, so that all rings work at the same time.
    std::vector<uint8> buffer(100'000);
    for (uint32 done = 0; done < kSize;) {
        const uint32 want = std::min<uint32>(static_cast<uint32>(buffer.size()), kSize - done);
        for (const auto& source : sources) {
            ASSERT_EQ(source->Read(buffer.data(), want), static_cast<int>(want)) << done;
        }
        done += want;
    }
    EXPECT_LE(ThreadCount(), threads + kSources);
    EXPECT_LE(ResidentBytes() - std::min(memory, ResidentBytes()), kShadow * kSources * (kRing + kBeside));
    for (std::size_t i = 0; i < sources.size(); ++i) {
        EXPECT_EQ(DigestOf(*sources[i]), digests[i % 4]) << i;
        EXPECT_EQ(sources[i]->CloseFile(), VXC_STATUS_OK);
    }
    EXPECT_LE(ThreadCount(), threads);
}
