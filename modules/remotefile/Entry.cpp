// What the library looks up in the module.
#include "Export.h"
#include "HttpFile.h"

QLRREMOTEFILEU_EXPORT CQLRHttpFile* CreateQLRHttpFile() {
    return vxcio::MakeHttpFile();
}

QLRREMOTEFILEU_EXPORT void DeleteQLRHttpFile(CQLRHttpFile* file) {
    delete file;
}
