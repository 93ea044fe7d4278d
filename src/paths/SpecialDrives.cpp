#include "paths/SpecialDrives.h"

#include "paths/PathParts.h"
#include "platform/NetworkNames.h"
#include "text/FoldCase.h"

#include <algorithm>
#include <mutex>

namespace vxcio {

namespace {

constexpr int kNameCharacters = 512;
constexpr std::size_t kRootLength = 3;

struct DriveList {
    std::mutex mutex;
    std::vector<std::wstring> drives; // guarded by mutex
};

// Never destroyed: a thread may convert a name while the process ends.
DriveList& List() {
    static DriveList* const list = new DriveList;
    return *list;
}

} // namespace

std::wstring SpecialDriveOf(std::wstring_view name) {
    std::wstring drive(name);
    if (drive.size() == 1) {
        drive += L":\\";
    } else if (drive.size() == 2 && drive[1] == L':') {
        drive += L'\\';
    }
    // What the third character is does not matter.
    return drive.size() == kRootLength && drive[1] == L':' ? UpperCase(drive) : std::wstring();
}

void ReadSpecialDrives() {
    const NetworkNameTable& network = NetworkNames();
    void* const values = network.openSpecialDrives();
    if (values == nullptr) {
        return;
    }
    struct Closer {
        void* values;
        ~Closer() { NetworkNames().closeSpecialDrives(values); }
    } const closer{values};
    std::vector<std::wstring> found; // all or none, as a listing that memory lacked for is made again
    wchar_t name[kNameCharacters] = {};
    uint32 type = 0;
    uint32 number = 0;
    for (uint32 i = 0; network.specialDrive(values, i, name, kNameCharacters, &type, &number) == 0; ++i) {
        if (type != kValueNumber || number == 0) {
            continue;
        }
        std::wstring drive = SpecialDriveOf(name);
        if (!drive.empty()) {
            found.push_back(std::move(drive));
        }
    }
    const std::lock_guard lock(List().mutex);
    auto& drives = List().drives;
    drives.insert(drives.end(), found.begin(), found.end());
}

std::vector<std::wstring> SpecialDrives() {
    const std::lock_guard lock(List().mutex);
    return List().drives;
}

bool IsOnSpecialDrive(std::wstring_view path) {
    const std::wstring upper = UpperCase(path.substr(0, kRootLength));
    const std::lock_guard lock(List().mutex);
    const auto& drives = List().drives;
    return std::find(drives.begin(), drives.end(), upper) != drives.end();
}

void ForgetSpecialDrives() noexcept {
    const std::lock_guard lock(List().mutex);
    List().drives.clear();
}

} // namespace vxcio
