#include "frame/Settings.h"

#include <iterator>

namespace vxcio {

namespace {

constexpr const wchar_t* kSoftCodec = L"Software\\Norvex\\SoftCodec";
constexpr const wchar_t* kEthernetDisks = L"Software\\Norvex\\EthernetDiskInfo";
constexpr const wchar_t* kDriveMap = L"Software\\Norvex\\DriveMap";
constexpr const wchar_t* kDriveRemote = L"Software\\Norvex\\DriveRemote";
constexpr const wchar_t* kShareMap = L"Software\\Norvex\\ShareMap";
constexpr const wchar_t* kSpecialDrives = L"Software\\Norvex\\QLSpecialDrivers";

constexpr KnownSetting kSettings[] = {
    {kSoftCodec, L"HandleTimeOut", L"0xFFFFFFFF",
     L"How long one operation on a file may take where files are worked on by threads of their own (second "
     L"copies, and all files opened for writing once WriteHandleTimeOut counts), in milliseconds; "
     L"0xFFFFFFFF for no limit. Less than 1000 counts as 10000. Read when the library is loaded.",
     1},
    {kSoftCodec, L"WriteHandleTimeOut", L"",
     L"How long opening a file for writing may take, in milliseconds; any value but 0xFFFFFFFF gives each "
     L"file opened for writing threads of its own. Less than 1000 counts as 10000; without it the value of "
     L"HandleTimeOut counts. Read when the library is loaded.",
     1},
    {kSoftCodec, L"EnableBitrateInfo", L"0",
     L"Not 0: the rate at which files are read is written to the log. Read when the library is loaded.", 1},
    {kSoftCodec, L"SetSystemFileCacheSize", L"0x10000000",
     L"Upper limit of the system's file cache in bytes, where the system has one and the process may set it; "
     L"0 leaves the cache alone. Read when the library is loaded.",
     1},
    {kSoftCodec, L"ReadBlockSize", L"1", L"Size of one block of reading ahead, in MiB. 0 counts as not set.",
     1},
    {kSoftCodec, L"DoubleRdThreshold", L"2000",
     L"How long a read from one of two copies of a file at least waits before it turns to the other copy, in "
     L"milliseconds. 0 counts as not set.",
     1},
    {kSoftCodec, L"WriteBlockSize", L"1048576",
     L"Size of the blocks in which a file is written, in bytes. 0 counts as not set.", 1},
    {kSoftCodec, L"FtpTimeOut", L"60000",
     L"How long a read from an FTP server waits for data, in milliseconds. Less than 1000 counts as not set.",
     1},
    {kSoftCodec, L"NotCall_UNC2LOCAL", L"1",
     L"1 or more: names of the form \\\\server\\share are opened as they are. 0 or less: where the share is "
     L"a "
     L"folder of this machine, the folder is opened instead. Kept once it was read.",
     1},
    {kSoftCodec, L"SambaConfiguration", L"/etc/samba/smb.conf",
     L"Samba's configuration, which tells the names of this machine's shares and their folders.", 0},
    {kSoftCodec, L"HttpTimeOut", L"60000",
     L"How long an open or read of a URL waits for the server's next bytes, in milliseconds. Less than 1000 "
     L"counts as not set.",
     1},
    {kSoftCodec, L"HttpCertificates", L"",
     L"File of certificates (PEM) that are trusted for https besides those of the system.", 0},
    {kSoftCodec, L"HttpProxy", L"",
     L"Proxy for URLs, \"http://host:3128\". Without it servers are asked directly.", 0},
    {kEthernetDisks, L"DiskArray", L"",
     L"Beginning of the names of files on disks behind a network that must be written without unbuffered "
     L"transfer, for example \"D:\\\". At most 512 characters.",
     0},
    {kDriveMap, nullptr, L"",
     L"The name is a drive letter, the value the folder that stands for it: \"D = /mnt/media\" makes "
     L"D:\\clip "
     L"mean /mnt/media/clip. Letters without a folder are no drives.",
     0},
    {kDriveRemote, nullptr, L"",
     L"The name is a drive letter, the value the network name of that drive, \"Z = \\\\host\\share\". Needed "
     L"only where the drive's folder is no mounted share.",
     0},
    {kShareMap, nullptr, L"",
     L"The name is \"server\\share\" or \"server\", the value the folder that stands for it: \"nas\\media = "
     L"/mnt/nas\" makes \\\\nas\\media\\clip mean /mnt/nas/clip. Mounted shares need no line.",
     0},
    {kSpecialDrives, nullptr, L"",
     L"The name is a drive letter, the value a number. Not 0: files of the drive keep their local name where "
     L"the names of shares are asked for.",
     1},
};

} // namespace

const KnownSetting* KnownSettings(int* count) noexcept {
    if (count != nullptr) {
        *count = static_cast<int>(std::size(kSettings));
    }
    return kSettings;
}

} // namespace vxcio
