// What the library looks up in the module.
#include "HttpFile.h"

#include "frame/Export.h"

QLRREMOTEFILEU_EXPORT CQLRHttpFile* CreateQLRHttpFile() {
    return vxcio::MakeHttpFile();
}

QLRREMOTEFILEU_EXPORT void DeleteQLRHttpFile(CQLRHttpFile* file) {
    delete file;
}
