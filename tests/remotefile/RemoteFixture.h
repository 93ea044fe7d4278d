// RemoteFixture.h - the module as the library uses it: loaded by its file, by its two entries.
#pragma once

#include "sources/RemoteFile.h"
#include "support/LogCapture.h"
#include "support/OddHttpServer.h"
#include "support/SettingsScope.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <dlfcn.h>
#include <memory>
#include <string>

namespace vxcio::test {

// Loaded once, and never unloaded.
class RemoteModule {
public:
    static const RemoteModule& Get() {
        static const RemoteModule module;
        return module;
    }

    CreateQLRHttpFileFunction create = nullptr;
    DeleteQLRHttpFileFunction destroy = nullptr;

private:
    RemoteModule() {
        void* const file = dlopen(VXC_TEST_LIBRARY_DIR "/QLRRemoteFileU.so", RTLD_NOW | RTLD_LOCAL);
        if (file == nullptr) {
            ADD_FAILURE() << dlerror();
            return;
        }
        create = reinterpret_cast<CreateQLRHttpFileFunction>(dlsym(file, "CreateQLRHttpFile"));
        destroy = reinterpret_cast<DeleteQLRHttpFileFunction>(dlsym(file, "DeleteQLRHttpFile"));
    }
};

using RemoteFile = std::unique_ptr<CQLRHttpFile, DeleteQLRHttpFileFunction>;

inline RemoteFile MakeRemoteFile() {
    return {RemoteModule::Get().create(), RemoteModule::Get().destroy};
}

// What a read brings; its result must be that of its count.
inline std::string ReadFrom(CQLRHttpFile& file, uint32 bytes) {
    std::string buffer(bytes, '~');
    uint32 got = ~0u;
    const int result = file.Read(reinterpret_cast<uint8*>(buffer.data()), bytes, &got);
    EXPECT_LE(got, bytes);
    EXPECT_TRUE(result != 0 || got < bytes);
    buffer.resize(std::min(got, bytes));
    return buffer;
}

inline OddFile PatternFile(std::size_t bytes, uint32 seed) {
    const std::vector<uint8> pattern = Pattern(bytes, seed);
    return {{pattern.begin(), pattern.end()}, "\"one\"", "Tue, 03 Jun 2025 10:00:00 GMT"};
}

// A file of a few MiB, an object, and a server that each test makes with its script.
class RemoteFixture : public ::testing::Test {
protected:
    static constexpr uint64 kSize = 3'000'017;

    // The server that does everything right, but for the script, which tells whether it has answered.
    using Odd = std::function<bool(const OddRequest&, OddReply&)>;
    void Serve(Odd odd = nullptr) {
        server = std::make_unique<OddHttpServer>([this, odd](const OddRequest& request, OddReply& reply) {
            if (!odd || !odd(request, reply)) {
                content.Answer(request, reply);
            }
        });
    }
    bool Open() { return remote->Open(server->Url().c_str()) != 0; }
    bool Open(const std::wstring& url) { return remote->Open(url.c_str()) != 0; }
    std::string Read(uint32 bytes) { return ReadFrom(*remote, bytes); }
    std::string ReadAt(uint64 position, uint32 bytes) {
        EXPECT_EQ(remote->Seek(position), static_cast<int64>(position));
        return Read(bytes);
    }
    std::string Part(uint64 position, uint64 bytes) const { return content.bytes.substr(position, bytes); }
    bool IsPart(uint64 position, uint32 bytes) { return ReadAt(position, bytes) == Part(position, bytes); }
    // The one line of an error; tests look for a part of it.
    std::wstring Error() const {
        const auto lines = log.Texts(INFOTYPE_ERROR);
        EXPECT_EQ(lines.size(), 1u);
        return lines.empty() ? std::wstring() : lines.front();
    }
    std::string Whole(uint32 block) {
        std::string all;
        for (std::string piece = Read(block); !piece.empty(); piece = Read(block)) {
            all += piece;
        }
        return all;
    }

    SettingsScope settings;
    LogCapture log;
    OddFile content = PatternFile(kSize, 5);
    std::unique_ptr<OddHttpServer> server;
    RemoteFile remote = MakeRemoteFile(); // gone before the server
};

} // namespace vxcio::test
