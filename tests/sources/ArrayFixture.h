// ArrayFixture.h - both source arrays over sources that tests script: each has its content in memory and
// writes down what it is asked.
//
//   B.OpenFile(B*b,0x5)  B.Seek(0,1)  B.ReadAt(0,30)  ~B
#pragma once

#include "frame/SoftDataIO.h"
#include "frame/Status.h"
#include "sources/DataSourceArray.h"
#include "sources/MoreFileToOpen.h"
#include "sources/PullDataSourceArray.h"
#include "sources/SourceSequence.h"
#include "support/MemoryLack.h"
#include "support/PlatformScope.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vxcio {

struct SourceSequenceInspector {
    static SourceSequence& Of(CDataSourceArray& array) { return array.m_sequence; }
    static void SetMaker(SourceSequence& sequence, MakeSource maker) { sequence.m_makeSource = maker; }
    static int CurIndex(const SourceSequence& sequence) { return sequence.m_nCurIndex; }
    static uint64 CurPos(const SourceSequence& sequence) { return sequence.m_nCurPos; }
    static uint64 TotalSize(const SourceSequence& sequence) { return sequence.m_nTotalSize; }
    static uint32 SectorSize(const SourceSequence& sequence) { return sequence.m_dwSectorSize; }
    static uint32 PreReadSize(const SourceSequence& sequence) { return sequence.m_dwPreReadSize; }
    static uint32 MaxReadSize(const SourceSequence& sequence) { return sequence.m_dwMaxReadSize; }
    static const uint8* JoinBuffer(const SourceSequence& sequence) { return sequence.m_pJoinBuffer.get(); }
    static uint32 JoinSize(const SourceSequence& sequence) { return sequence.m_dwJoinSize; }
    static uint64 StartPos(const SourceSequence& sequence, int i) {
        return sequence.m_elements.pData[i].nStartPos;
    }
    static uint64 Size(const SourceSequence& sequence, int i) { return sequence.m_elements.pData[i].nSize; }
    static bool IsReadingAhead(const SourceSequence& sequence, int i) {
        return sequence.m_elements.pData[i].pSource->IsPreReadMode() != 0;
    }
    static std::wstring File1(const SourceSequence& sequence, int i) {
        return sequence.m_elements.pData[i].strFile1.c_str();
    }
    static std::wstring File2(const SourceSequence& sequence, int i) {
        return sequence.m_elements.pData[i].strFile2.c_str();
    }
};

struct PullDataSourceArrayInspector {
    static SourceSequence* Of(CPullDataSourceArray& array) { return array.m_pSequence; }
};

namespace test {

// The files that scripted sources find, and what these were asked.
struct FakeDisk {
    std::map<std::wstring, std::vector<uint8>> files; // any other name gives 0x80000100
    std::vector<std::string> calls;
    std::vector<IOWordkMode> modes;        // of all sources made
    std::vector<CSoftDataSource*> sources; // that live
    bool makesNone = false;

    static FakeDisk*& Current() {
        static FakeDisk* disk = nullptr;
        return disk;
    }
    static CSoftDataSource* Make(IOWordkMode mode);
};

inline std::string Narrow(const wchar_t* text) {
    std::string narrow;
    for (; *text != 0; ++text) {
        narrow += static_cast<char>(*text);
    }
    return narrow;
}

class FakeSource final : public CSoftDataSource {
public:
    explicit FakeSource(FakeDisk& disk) : m_disk(disk) { m_disk.sources.push_back(this); }
    ~FakeSource() override {
        std::erase(m_disk.sources, this);
        Note("~" + m_name);
    }

    int Close() override {
        Note(m_name + ".Close");
        return 1;
    }
    int GetMD5_check(uint32, uint8*&, int&) override { return 0; }
    uint32 OpenFile(const wchar_t* name, uint32 flags, const wchar_t* second, uint64 extra) override {
        m_name = Narrow(name);
        char text[20];
        std::snprintf(text, sizeof text, ",%#x)", flags);
        Note(m_name + ".OpenFile(" + m_name + (second == nullptr ? "" : "*" + Narrow(second)) + text);
        EXPECT_EQ(extra, 0U);
        const auto found = m_disk.files.find(name);
        if (found == m_disk.files.end()) {
            return VXC_STATUS_OPEN_READ;
        }
        m_content = &found->second;
        return VXC_STATUS_OK;
    }
    uint32 CloseFile() override {
        Note(m_name + ".CloseFile");
        return VXC_STATUS_OK;
    }
    uint32 SetReadRepeat(uint32) override { return 0; }
    void EnablePreRead(int bufferBytes, int minimumBytes) override {
        Note(m_name + ".EnablePreRead(" + std::to_string(bufferBytes) + "," + std::to_string(minimumBytes) +
             ")");
        m_preRead = true;
    }
    void DisablePreRead() override {
        Note(m_name + ".DisablePreRead");
        m_preRead = false;
    }
    uint32 IsPreReadMode() override { return m_preRead ? 1 : 0; }
    int CanSeek() override { return 1; }
    // As read-ahead does it: the position moves by the count from where it stood.
    int ReadAt(uint64 position, uint8** data, int bytes) override {
        Note(m_name + ".ReadAt(" + std::to_string(position) + "," + std::to_string(bytes) + ")");
        return Give(position, data, bytes);
    }
    int ReadPtr(uint8** data, int bytes) override {
        Note(m_name + ".ReadPtr(" + std::to_string(bytes) + ")");
        return Give(m_position, data, bytes);
    }
    int64 Seek(int64 offset, uint32 origin) override {
        Note(m_name + ".Seek(" + std::to_string(offset) + "," + std::to_string(origin) + ")");
        m_position = static_cast<uint64>(offset);
        return offset;
    }
    int Read(uint8* buffer, uint32 bytes) override {
        Note(m_name + ".Read(" + std::to_string(bytes) + ")");
        const auto piece = Piece(m_position, bytes);
        std::copy(piece.begin(), piece.end(), buffer);
        m_position += piece.size();
        return static_cast<int>(piece.size());
    }
    uint64 GetFileSize() override {
        Note(m_name + ".GetFileSize");
        return m_content->size();
    }

    // What the last ReadAt or ReadPtr gave out.
    const uint8* Given() const { return m_given.data(); }
    const std::string& Name() const { return m_name; }

private:
    void Note(std::string call) const { m_disk.calls.push_back(std::move(call)); }
    std::vector<uint8> Piece(uint64 position, uint64 bytes) const {
        const uint64 size = m_content->size();
        const uint64 from = std::min(position, size);
        const uint64 to = from + std::min(bytes, size - from);
        return {m_content->begin() + static_cast<std::ptrdiff_t>(from),
                m_content->begin() + static_cast<std::ptrdiff_t>(to)};
    }
    int Give(uint64 position, uint8** data, int bytes) {
        if (!m_preRead || bytes < 0) {
            return 0;
        }
        m_given = Piece(position, static_cast<uint64>(bytes));
        if (!m_given.empty()) {
            *data = m_given.data();
        }
        m_position += m_given.size();
        return static_cast<int>(m_given.size());
    }

    FakeDisk& m_disk;
    std::string m_name;
    const std::vector<uint8>* m_content = nullptr;
    std::vector<uint8> m_given; // anew with each call, so that the address before it is stale
    uint64 m_position = 0;
    bool m_preRead = false;
};

inline CSoftDataSource* FakeDisk::Make(IOWordkMode mode) {
    FakeDisk& disk = *Current();
    disk.modes.push_back(mode);
    return disk.makesNone ? nullptr : new FakeSource(disk);
}

inline CVXCStringArray ListOf(const std::vector<std::wstring>& names) {
    CVXCStringArray list;
    for (const std::wstring& name : names) {
        EXPECT_TRUE(list.Add(name.c_str()));
    }
    return list;
}

// The two arrays with one face, so that what they share is tested on both.
struct ListedArray : CDataSourceArray {
    uint32 Open(const std::vector<std::wstring>& names, uint32 flags = 0) {
        return OpenFiles(ListOf(names), flags);
    }
    uint32 CloseAll() { return CloseFiles(); }
    int Ptr(uint8** data, int bytes) { return ReadPtr(data, static_cast<uint32>(bytes)); }
    uint64 To(uint64 offset, uint32 origin) { return Seek(offset, origin); }
    uint64 Size() { return static_cast<uint64>(GetFileSize()); }
    SourceSequence& Sequence() { return SourceSequenceInspector::Of(*this); }
};

struct PullArray : CPullDataSourceArray {
    uint32 Open(const std::vector<std::wstring>& names, uint32 flags = 0) {
        SMoreFileToOpenEx record;
        for (const std::wstring& name : names) {
            record.AddFile(name.c_str(), 0, nullptr, 0);
        }
        return OpenFile(nullptr, flags, nullptr, reinterpret_cast<std::uintptr_t>(&record));
    }
    uint32 CloseAll() { return CloseFile(); }
    int Ptr(uint8** data, int bytes) { return ReadPtr(data, bytes); }
    uint64 To(uint64 offset, uint32 origin) {
        return static_cast<uint64>(Seek(static_cast<int64>(offset), origin));
    }
    uint64 Size() { return GetFileSize(); }
    SourceSequence& Sequence() { return *PullDataSourceArrayInspector::Of(*this); }
};

template <class Array>
class ArrayFixture : public ::testing::Test {
protected:
    using Look = SourceSequenceInspector;

    ArrayFixture() {
        FakeDisk::Current() = &disk;
        Look::SetMaker(array->Sequence(), &FakeDisk::Make);
    }
    ~ArrayFixture() override {
        array->CloseAll();
        EXPECT_TRUE(disk.sources.empty());
        FakeDisk::Current() = nullptr;
    }

    // Files A, B, C ... of these sizes, opened; the calls of the open are forgotten.
    void OpenSizes(const std::vector<std::size_t>& sizes, uint32 flags = 0) {
        std::vector<std::wstring> names;
        stream.clear();
        for (const std::size_t size : sizes) {
            names.push_back(AddFile(size));
        }
        ASSERT_EQ(array->Open(names, flags), VXC_STATUS_OK);
        disk.calls.clear();
    }
    // With read-ahead; blocks of 512 bytes, reads of up to `longestRead`.
    void OpenAhead(const std::vector<std::size_t>& sizes, int longestRead = 64) {
        OpenSizes(sizes);
        array->EnablePreRead(512, longestRead);
    }
    std::wstring AddFile(std::size_t size) {
        const auto letter = static_cast<wchar_t>(L'A' + disk.files.size());
        const std::vector<uint8> content = Pattern(size, static_cast<uint32>(letter));
        disk.files[std::wstring(1, letter)] = content;
        stream.insert(stream.end(), content.begin(), content.end());
        return std::wstring(1, letter);
    }

    std::vector<uint8> Read(uint32 bytes) {
        std::vector<uint8> buffer(bytes);
        const int got = array->Read(buffer.data(), bytes);
        EXPECT_GE(got, 0);
        buffer.resize(static_cast<std::size_t>(got));
        return buffer;
    }
    std::vector<uint8> ReadPtr(int bytes) {
        uint8* data = nullptr;
        const int got = array->Ptr(&data, bytes);
        return {data, data + got};
    }
    std::vector<uint8> ReadAt(uint64 position, int bytes) {
        uint8* data = nullptr;
        const int got = array->ReadAt(position, &data, bytes);
        return {data, data + got};
    }
    std::vector<uint8> Bytes(std::size_t position, std::size_t count) const {
        const auto from = stream.begin() + static_cast<std::ptrdiff_t>(position);
        return {from, from + static_cast<std::ptrdiff_t>(count)};
    }
    const FakeSource& Source(std::size_t i) const { return static_cast<FakeSource&>(*disk.sources[i]); }

    int Index() { return Look::CurIndex(array->Sequence()); }
    uint64 Position() { return Look::CurPos(array->Sequence()); }

    FakeDisk disk;
    std::vector<uint8> stream; // the files one after the other
    std::unique_ptr<Array> array = std::make_unique<Array>();
};

} // namespace test
} // namespace vxcio
