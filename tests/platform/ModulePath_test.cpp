#include "platform/ModulePath.h"

#include "support/TempFolder.h"
#include "text/Utf8.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <filesystem>
#include <string>

using namespace vxcio;
using namespace vxcio::test;
namespace fs = std::filesystem;

namespace {

// A copy of the probe library of its own for each test.
class ModulePathTest : public testing::Test {
protected:
    void SetUp() override {
        m_file = m_folder.Path() / "m\xC3\xB6 dule" / "PathProbe.so";
        fs::create_directories(m_file.parent_path());
        fs::copy_file(fs::path(VXC_TEST_LIBRARY_DIR) / "platform" / "PathProbe.so", m_file);
        m_library = dlopen(m_file.c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(m_library, nullptr) << dlerror();
    }

    template <class Function>
    Function* Find(const char* name) const {
        return reinterpret_cast<Function*>(dlsym(m_library, name));
    }

    bool IsLoaded() const {
        void* const again = dlopen(m_file.c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (again != nullptr) {
            dlclose(again);
        }
        return again != nullptr;
    }

    TempFolder m_folder;
    fs::path m_file;
    void* m_library = nullptr;
};

} // namespace

TEST_F(ModulePathTest, ALibraryFindsItsOwnFile) {
    wchar_t path[1024] = {};
    const int length = Find<int(wchar_t*, int)>("PathProbe_Path")(path, 1024);
    EXPECT_EQ(ToUtf8(path), fs::canonical(m_file).string());
    EXPECT_EQ(length, static_cast<int>(std::wstring(path).size()));
    dlclose(m_library);
}

TEST_F(ModulePathTest, APinnedLibraryStaysWhenItIsClosed) {
    Find<void()>("PathProbe_Pin")();
    dlclose(m_library);
    EXPECT_TRUE(IsLoaded());
}

TEST_F(ModulePathTest, AnUnpinnedLibraryGoes) {
    dlclose(m_library);
    EXPECT_FALSE(IsLoaded());
}

TEST_F(ModulePathTest, AProgramFindsItself) {
    wchar_t path[4096] = {};
    const int length = ModulePath().getModulePath(path, 4096);
    EXPECT_EQ(ToUtf8(path), fs::read_symlink("/proc/self/exe").string());
    EXPECT_EQ(length, static_cast<int>(std::wstring(path).size()));
    ModulePath().pinModule(); // nothing to do, and nothing happens
    dlclose(m_library);
}

TEST_F(ModulePathTest, APathThatIsTooLongIsCut) {
    wchar_t whole[4096] = {};
    ASSERT_GT(ModulePath().getModulePath(whole, 4096), 9);
    wchar_t path[10] = {};
    EXPECT_EQ(ModulePath().getModulePath(path, 10), 9);
    EXPECT_EQ(std::wstring(path), std::wstring(whole, 9));
    EXPECT_EQ(ModulePath().getModulePath(path, 1), 0);
    EXPECT_EQ(path[0], L'\0');
    path[0] = L'x';
    EXPECT_EQ(ModulePath().getModulePath(path, 0), 0);
    EXPECT_EQ(path[0], L'x');
    EXPECT_EQ(ModulePath().getModulePath(nullptr, 10), 0);
    dlclose(m_library);
}
