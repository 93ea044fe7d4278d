// Reading.h - the operations of the library that a stream rests on, for a source and for an array of them.
#pragma once

#include "Readable.h"

#include "module/VXCSoftCodecIO.h"

#include <memory>
#include <string>
#include <utility>

namespace vxcio::tool {

struct CloseAndDelete {
    void operator()(CSoftDataSource* source) const {
        source->CloseFile();
        delete source;
    }
};
using SourcePointer = std::unique_ptr<CSoftDataSource, CloseAndDelete>;

class Reading : public Readable {
public:
    virtual bool IsPreRead() = 0;
    // Forgets what was read ahead and goes on at `position`.
    virtual void Restart(uint64 position) = 0;
    // Null where it is no source.
    virtual CSoftDataSource* Source() { return nullptr; }
};

// How read-ahead is asked for; 0 bytes for none.
struct PreRead {
    int bytes = 0;
    int longestRead = 0;
};

class SourceReading final : public Reading {
public:
    SourceReading(SourcePointer source, const PreRead& preRead)
        : m_pSource(std::move(source)), m_PreRead(preRead) {
        m_pSource->EnablePreRead(m_PreRead.bytes, m_PreRead.longestRead);
    }

    uint64 Size() override { return m_pSource->GetFileSize(); }
    void Seek(uint64 position) override { m_pSource->Seek(static_cast<int64>(position), 1); }
    int Read(uint8* buffer, uint32 bytes) override { return m_pSource->Read(buffer, bytes); }
    bool IsPreRead() override { return m_pSource->IsPreReadMode() != 0; }
    void Restart(uint64 position) override {
        m_pSource->DisablePreRead();
        m_pSource->Seek(static_cast<int64>(position), 1);
        m_pSource->EnablePreRead(m_PreRead.bytes, m_PreRead.longestRead);
        if (IsPreRead()) {
            m_pSource->Seek(static_cast<int64>(position), 1);
        }
    }
    CSoftDataSource* Source() override { return m_pSource.get(); }

private:
    const SourcePointer m_pSource;
    const PreRead m_PreRead;
};

struct CloseAndDeleteArray {
    void operator()(CQLSoftDataSourceArray* array) const {
        array->CloseFiles();
        delete array;
    }
};
using ArrayPointer = std::unique_ptr<CQLSoftDataSourceArray, CloseAndDeleteArray>;

class ArrayReading final : public Reading {
public:
    ArrayReading(ArrayPointer array, const PreRead& preRead)
        : m_pArray(std::move(array)), m_PreRead(preRead) {
        m_pArray->EnablePreRead(m_PreRead.bytes, m_PreRead.longestRead);
    }

    uint64 Size() override { return static_cast<uint64>(m_pArray->GetFileSize()); }
    void Seek(uint64 position) override { m_pArray->Seek(position, 1); }
    int Read(uint8* buffer, uint32 bytes) override { return static_cast<int>(m_pArray->Read(buffer, bytes)); }
    bool IsPreRead() override { return m_pArray->IsPreReadMode() != 0; }
    void Restart(uint64 position) override {
        m_pArray->DisablePreRead();
        m_pArray->Seek(position, 1);
        // The element in use hears of it with its next read alone.
        uint8 byte = 0;
        m_pArray->Read(&byte, 1);
        m_pArray->EnablePreRead(m_PreRead.bytes, m_PreRead.longestRead);
        m_pArray->Seek(position, 1);
    }

private:
    const ArrayPointer m_pArray;
    const PreRead m_PreRead;
};

} // namespace vxcio::tool
