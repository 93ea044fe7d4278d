// The factories of the public family, which know every kind of source and sink.
#include "frame/SoftDataIO.h"
#include "ftp/FtpSource.h"
#include "ftp/WriteToFtp.h"
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
    if (mode == IOWORKMODE_FTP) {
        return Make<CFtpSource>();
    }
    return Make<CPullDataSource>(); // every other mode
}

CQLSoftDataSink* CQLSoftDataSink::Construct(IOWordkMode mode) {
    switch (mode) {
    case IOWORKMODE_FILE:
        return Make<CWriteFile>();
    case IOWORKMODE_FTP:
        return Make<CWriteToFtp>();
    }
    return nullptr;
}

CQLSoftDataSinkEx1* CQLSoftDataSinkEx1::Construct(IOWordkMode mode) {
    switch (mode) {
    case IOWORKMODE_FILE:
        return Make<CWriteFileEx1>();
    case IOWORKMODE_FTP:
        return Make<CWriteToFtpEx1>();
    }
    return nullptr;
}

CQLSoftDataSourceArray* ConstructDataSourceArray() {
    return new (std::nothrow) CDataSourceArray;
}
