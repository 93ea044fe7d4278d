// DecryptModule.h - what the decrypt module of the tests tells of itself.
#pragma once

struct DecryptModuleFacts {
    int objects; // made so far
    int closed;  // closed so far
    int lastMode;
    int lastKeyLength;
    unsigned char lastKey[8];
};
