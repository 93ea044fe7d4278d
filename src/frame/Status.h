// Status.h - the status codes of operations that open, set up or write. 0 is success.
//
// Operations that move data return byte counts instead and leave the reason of a failure to the log.
#pragma once

#include "frame/Types.h"

inline constexpr uint32 VXC_STATUS_OK = 0;
inline constexpr uint32 VXC_STATUS_NOT_AVAILABLE = 0x80000002u; // operation not available, or no source
inline constexpr uint32 VXC_STATUS_NO_COMMAND = 0x80000004u;    // the name of a remote call is missing
inline constexpr uint32 VXC_STATUS_NO_FILE_IO = 0x80000005u;    // no CSoftDataIO was set
inline constexpr uint32 VXC_STATUS_LIST = 0x80000009u;          // files could not be added to an open list
inline constexpr uint32 VXC_STATUS_TIME_OUT = 0x8000000Du;      // time-out, or a disk known to be dead
inline constexpr uint32 VXC_STATUS_OPEN_READ = 0x80000100u;     // file could not be opened for reading
inline constexpr uint32 VXC_STATUS_EMPTY_FILE = 0x80000102u;    // one of two copies holds nothing
inline constexpr uint32 VXC_STATUS_OPEN_WRITE = 0x80000104u;    // file could not be opened for writing
inline constexpr uint32 VXC_STATUS_READ = 0x80000107u;          // read or seek error
inline constexpr uint32 VXC_STATUS_WRITE = 0x80000108u;         // write error or short write
inline constexpr uint32 VXC_STATUS_NOT_CONNECTED = 0x80000008u; // no Connect before
inline constexpr uint32 VXC_STATUS_PUT_AFTER_END = 0x80000201u; // data put after the end of the input

// Of FTP sessions and transfers.
inline constexpr uint32 VXC_STATUS_FTP_CONNECT = 0x80000700u;  // no connection, or the logon failed
inline constexpr uint32 VXC_STATUS_FTP_USER = 0x80000701u;     // the user was refused
inline constexpr uint32 VXC_STATUS_FTP_PASSWORD = 0x80000702u; // the password was refused
inline constexpr uint32 VXC_STATUS_FTP_PORT = 0x80000703u;     // PORT was refused
inline constexpr uint32 VXC_STATUS_FTP_RETR = 0x80000704u;     // no reply to SIZE, or the file is not sent
inline constexpr uint32 VXC_STATUS_FTP_STOR = 0x80000705u;     // the file is not taken
inline constexpr uint32 VXC_STATUS_FTP_REST = 0x80000706u;     // no start at a position
inline constexpr uint32 VXC_STATUS_FTP_SOCKET = 0x80000707u;   // a socket could not be made or bound
inline constexpr uint32 VXC_STATUS_FTP_SEND = 0x80000708u;     // a command could not be sent
inline constexpr uint32 VXC_STATUS_FTP_REPLY = 0x80000709u;    // no greeting or no reply while logging on
inline constexpr uint32 VXC_STATUS_FTP_TYPE = 0x80000710u;     // binary transfer was refused
inline constexpr uint32 VXC_STATUS_FTP_ACCEPT = 0x80000711u;   // the server's connection was not accepted
