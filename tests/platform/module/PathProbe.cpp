// PathProbe.cpp - a library that asks for its own path and pins itself, as the real one does.
#include "platform/ModulePath.h"

extern "C" {

__attribute__((visibility("default"))) int PathProbe_Path(wchar_t* path, int characters) {
    return vxcio::ModulePath().getModulePath(path, characters);
}

__attribute__((visibility("default"))) void PathProbe_Pin() {
    vxcio::ModulePath().pinModule();
}

} // extern "C"
