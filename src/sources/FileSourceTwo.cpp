// Two copies in CFileSource: opening the second one, and the reads that go to either.
#include "sources/FileSource.h"

using namespace vxcio;

uint32 CFileSource::OpenSecondFile(uint32 firstStatus) {
    return firstStatus;
}

uint32 CFileSource::ReadTwoFiles(uint8* /*buffer*/, uint32 /*bytes*/) {
    return 0;
}
