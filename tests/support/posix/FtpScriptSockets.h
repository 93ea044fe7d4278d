// FtpScriptSockets.h - the few socket calls of a scripted server. They are the system's own and not those of
// the table, which is what the server stands opposite to.
#pragma once

#include "frame/Types.h"

#include <string>

namespace vxcio::test::script {

// A descriptor, or -1. *port receives where.
int ListenAt(uint32 address, uint16* port);
// Whether somebody has connected and was not accepted yet.
bool HasCaller(int listener);
// Takes the one that has called; *peerPort receives its port. -1 where there is none.
int AcceptFrom(int listener, uint16* peerPort);
// A connection to there, or -1.
int ConnectTo(uint32 address, uint16 port);
// The address of the other side.
uint32 PeerAddress(int socket);
// Makes the close of a connection a reset.
void ResetAtClose(int socket);
// Whether all that was sent is on its way.
bool HasSentAll(int socket);
// "127,0,0,1,4,1"
std::string InCommas(uint32 address, uint16 port);

} // namespace vxcio::test::script
