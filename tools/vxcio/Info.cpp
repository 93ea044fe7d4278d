#include "Console.h"
#include "ExitCodes.h"
#include "Json.h"
#include "Reader.h"
#include "Sizes.h"
#include "Terminal.h"
#include "Text.h"
#include "Verbs.h"

#include "sysu/HostControl.h"

namespace vxcio::tool {

namespace {

struct Facts {
    uint64 size = 0;
    uint32 sectorSize = 0;
    uint32 driveType = 0;
    DiskFacts disk{};
};

const char* DriveWord(uint32 type) {
    switch (type) {
    case VXC_DRIVE_NO_ROOT_DIR:
        return "no such root";
    case VXC_DRIVE_REMOVABLE:
        return "removable";
    case VXC_DRIVE_FIXED:
        return "fixed disk";
    case VXC_DRIVE_REMOTE:
        return "network";
    case VXC_DRIVE_CDROM:
        return "optical";
    case VXC_DRIVE_RAMDISK:
        return "memory";
    default:
        return "unknown";
    }
}

std::string DirectWords(const DiskFacts& disk) {
    if (disk.directOffset == 0 && disk.directMemory == 0) {
        return "the file system names no needs";
    }
    return "positions and sizes in " + std::to_string(disk.directOffset) + " bytes, memory in " +
           std::to_string(disk.directMemory);
}

Facts Ask(const std::string& name, CSoftDataSource& source) {
    const std::wstring wide = Widen(name);
    Facts facts;
    facts.size = source.GetFileSize();
    facts.sectorSize = GetDiskSectorSize(wide.c_str());
    facts.driveType = GetDiskDriveType(wide.c_str());
    QueryDisk(wide.c_str(), &facts.disk);
    return facts;
}

std::string AsText(const std::string& name, const Facts& facts) {
    std::string size = WithCommas(facts.size) + " bytes";
    if (facts.size >= 1024) {
        size += " (" + ReadableSize(static_cast<double>(facts.size)) + ")";
    }
    return Shown(name) + "\n  source       " + ServingSource(name) + "\n  size         " + size +
           "\n  sector size  " + std::to_string(facts.sectorSize) + " bytes\n  drive type   " +
           std::to_string(facts.driveType) + " (" + DriveWord(facts.driveType) + ")\n  file system  " +
           facts.disk.fileSystem + "\n  direct I/O   " + DirectWords(facts.disk) + "\n";
}

Json AsJson(const std::string& name, const Facts& facts) {
    Json out;
    out["name"] = name;
    out["source"] = ServingSource(name);
    out["size"] = facts.size;
    out["sectorSize"] = facts.sectorSize;
    out["driveType"] = facts.driveType;
    out["driveTypeText"] = DriveWord(facts.driveType);
    out["fileSystem"] = facts.disk.fileSystem;
    out["directIO"] = {{"offset", facts.disk.directOffset}, {"memory", facts.disk.directMemory}};
    return out;
}

} // namespace

int RunInfo(const Options& options, LogView& log) {
    int code = kExitOk;
    Json all = Json::array();
    for (const std::string& name : options.names) {
        if (InterruptWanted()) {
            return kExitInterrupted;
        }
        std::string reason;
        const SourcePointer source = OpenForReading(name, false, log, reason);
        if (!source) {
            Complain("info: cannot open '" + Shown(name) + "': " + reason);
            all.push_back({{"name", name}, {"source", ServingSource(name)}, {"error", reason}});
            code = kExitFailed;
            continue;
        }
        const Facts facts = Ask(name, *source);
        if (options.json) {
            all.push_back(AsJson(name, facts));
        } else {
            Print(AsText(name, facts));
        }
    }
    if (options.json) {
        PrintJson(all);
    }
    return code;
}

} // namespace vxcio::tool
