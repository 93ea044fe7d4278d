// The factories of the public family, which know every kind of source and sink.
#include "frame/SoftDataIO.h"
#include "sinks/WriteFile.h"
#include "sinks/WriteFileEx1.h"
#include "sources/DataSourceArray.h"
#include "sources/PullDataSource.h"

#include <new>

namespace {

// An object whose inner object could not be made is no object.
template <class Kind>
Kind* Make() {
    Kind* const object = new (std::nothrow) Kind;
    if (object != nullptr && !object->IsComplete()) {
        delete object;
        return nullptr;
    }
    return object;
}

} // namespace

CSoftDataSource* CSoftDataSource::Construct(IOWordkMode mode) {
    // Every mode but FTP means the pull source; the FTP source is not part of this version.
    return mode == IOWORKMODE_FTP ? nullptr : Make<CPullDataSource>();
}

// The FTP sinks are not part of this version.

CQLSoftDataSink* CQLSoftDataSink::Construct(IOWordkMode mode) {
    return mode == IOWORKMODE_FILE ? Make<CWriteFile>() : nullptr;
}

CQLSoftDataSinkEx1* CQLSoftDataSinkEx1::Construct(IOWordkMode mode) {
    return mode == IOWORKMODE_FILE ? Make<CWriteFileEx1>() : nullptr;
}

CQLSoftDataSourceArray* ConstructDataSourceArray() {
    return new (std::nothrow) CDataSourceArray;
}
