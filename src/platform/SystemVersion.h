// SystemVersion.h - the version record of the operating system, behind a table that tests replace.
#pragma once

#include "frame/Types.h"

namespace vxcio {

struct SystemVersionRecord {
    uint32 majorVersion;
    uint32 minorVersion;
    uint32 buildNumber;
    uint32 platformId;
};

struct SystemVersionTable {
    // Nonzero when the record was filled. Systems that are no Windows have none.
    int (*getVersion)(SystemVersionRecord* record);
    // Ends the process.
    void (*exitProcess)(int code);
};

SystemVersionTable& SystemVersion() noexcept;

} // namespace vxcio
