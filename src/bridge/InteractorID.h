// InteractorID.h - ids of channels: unlike each other on one machine, and telling what they are for.
//
//   00001234_VE_007_12345678_00041_01240      host's process, type, index, time, chance, thread
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"

enum ENUM_PLUG_TYPE : int {
    PLUG_TYPE_VIDEO_ENCODER = 1,     // "VE"
    PLUG_TYPE_VIDEO_DECODER = 2,     // "VD"
    PLUG_TYPE_MUXER = 4,             // "MU"
    PLUG_TYPE_SPLITTER = 8,          // "SP"
    PLUG_TYPE_AUDIO_ENCODER = 16,    // "AE"
    PLUG_TYPE_AUDIO_DECODER = 32,    // "AD"
    PLUG_TYPE_SUBTITLE_ENCODER = 64, // "SE"
    PLUG_TYPE_SUBTITLE_DECODER = 128 // "SD"; every other value is "UN"
};

// Makes a new id, which takes 100 milliseconds. 0, or -1 where the buffer is null or smaller than the id with
// its terminating zero, and where memory lacks; then it is left alone. Any thread.
VXCSOFTCODECIO_API int CreateVXCInteractorID(ENUM_PLUG_TYPE type, unsigned int index, wchar_t* buffer,
                                             unsigned int bufferBytes) noexcept;

// Takes an id apart. Type 0 for "UN" and unknown tags. The index is that of the three digits in the id, so an
// index of 1000 and more does not come back whole. 0, or -1 for a null argument and for fewer than 30
// characters; then *type and *index are left alone. Any thread.
VXCSOFTCODECIO_API int ParseVXCInteractorID(const wchar_t* id, ENUM_PLUG_TYPE* type,
                                            unsigned int* index) noexcept;
