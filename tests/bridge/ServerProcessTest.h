// ServerProcessTest.h - a module folder with a server program in it, a fake server for it, and a process in
// which nobody has started one.
#pragma once

#include "bridge/FakeServer.h"
#include "bridge/ServerProcess.h"
#include "bridge/SystemSender.h"
#include "frame/ModuleValues.h"
#include "frame/SystemLayer.h"
#include "platform/SharedObjects.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cwchar>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

namespace vxcio::test {

class ServerProcessTest : public ::testing::Test {
protected:
    ServerProcessTest() {
        folder.Write("VXC32/VXC32ServU.exe", "");
        std::copy_n(Module().szModuleDirectory, std::size(m_formerDirectory), m_formerDirectory);
        std::wcsncpy(Module().szModuleDirectory, Directory().c_str(),
                     std::size(Module().szModuleDirectory) - 1);
        BringCountToZero();
        log.Clear();
    }
    ~ServerProcessTest() override {
        server.End();
        Unload();
        std::copy_n(m_formerDirectory, std::size(m_formerDirectory), Module().szModuleDirectory);
    }

    // What happens to the bridge when the library is unloaded.
    static void Unload() { DetachServerProcess(); }

    // A start with the program missing: the sender is there, and no server.
    void BecomeOrphan() {
        std::filesystem::rename(folder.Path() / "VXC32", folder.Path() / "away");
        EXPECT_EQ(CreateVXC32ServProcess(), -1);
        std::filesystem::rename(folder.Path() / "away", folder.Path() / "VXC32");
    }

    // The count lives as long as the process and other tests may have come before. Without a server a stop
    // fails exactly when it has brought the count to 0 or below.
    void BringCountToZero() {
        BecomeOrphan();
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(CreateVXC32ServProcess(), 0);
        }
        log.Clear();
        for (int i = 0; i < 1000 && !log.Contains(L"DestoryVXC32ServProcess failed"); ++i) {
            EXPECT_EQ(DestoryVXC32ServProcess(), 0);
        }
        Unload();
    }

    // The lines of the host; those of the fake server's own end are left out.
    std::vector<LogLine> HostLines() const {
        std::vector<LogLine> lines = log.Lines();
        std::erase_if(lines, [](const LogLine& line) {
            return line.text.starts_with(L"Receiver ID") || line.text.find(L"-Receive:ptr") != line.text.npos;
        });
        return lines;
    }
    std::vector<std::wstring> Failures() const { return log.Texts(INFOTYPE_ERROR); }

    std::wstring Directory() const { return folder.Path().wstring(); }
    std::wstring ProgramPath() const { return Directory() + L"\\VXC32\\VXC32ServU.exe "; }
    static std::wstring Id() {
        wchar_t text[16] = {};
        std::swprintf(text, std::size(text), L"%08u", Process().processId());
        return text;
    }
    // Whether anybody has the object of that name.
    static bool SectionIsThere(const std::wstring& name) {
        void* const handle = SharedObjects().openMapping(name.c_str());
        if (handle != nullptr) {
            SharedObjects().closeMapping(handle);
        }
        return handle != nullptr;
    }
    static bool EventIsThere(const std::wstring& name) {
        void* const handle = SharedObjects().openEvent(name.c_str());
        if (handle != nullptr) {
            VXC_CloseHandle(handle);
        }
        return handle != nullptr;
    }
    static int NamesThere() {
        return (SectionIsThere(Id() + L"_InMap") ? 1 : 0) + (SectionIsThere(Id() + L"_OutMap") ? 1 : 0) +
               (EventIsThere(Id() + L"_EvtBegin") ? 1 : 0) + (EventIsThere(Id() + L"_EvtEnd") ? 1 : 0);
    }

    LogCapture log;
    const TempFolder folder;
    FakeServer server;

private:
    wchar_t m_formerDirectory[261] = {};
};

} // namespace vxcio::test
