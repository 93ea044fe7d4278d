// MD5.h - the message digest of RFC 1321.
#pragma once

#include "frame/Types.h"

// The state of one digest. Made and deleted by its user; one thread at a time. There is no restart: a new
// object takes its place.
class MD5_CTX {
public:
    MD5_CTX() noexcept;
    virtual ~MD5_CTX();
    MD5_CTX(const MD5_CTX&) = delete;
    MD5_CTX& operator=(const MD5_CTX&) = delete;

    // Feeds size bytes. 0 bytes may come with a null pointer. Bytes fed after the first Final change the
    // state but not the digest.
    void Update(const void* data, unsigned int size) noexcept;

    // Writes the 16 bytes of the digest. Any number of calls gives the same digest.
    void Final(unsigned char* digest) noexcept;

private:
    uint32 m_dwState[4]; // the chaining value
    uint32 m_dwCount[2]; // message length in bits, low word first
    uint8 m_Buffer[64];  // the partial block
    uint8 m_Padding[64]; // 0x80 and zeros
    uint32 m_bFinished;  // set once the digest stands
    uint8 m_Digest[16];
};
