// DataSending.h - sends the data of one command, with what goes wrong on the way.
#pragma once

#include "xdcam/device/XdcamDevice.h"
#include "xdcam/device/posix/ControlLine.h"
#include "xdcam/device/posix/Sockets.h"

#include <cstddef>
#include <functional>

namespace xdcam {

// Fills up to so many bytes and tells how many; 0 at the end. May throw.
using DataReader = std::function<std::size_t(char* buffer, std::size_t bytes)>;

enum class Sent {
    Whole,
    Broken,  // by what was planned, or by the client, which has closed its side
    Aborted, // the client sent ABOR
    Ended    // the session, or the device
};

// Closes `data` in each case.
Sent SendData(Socket data, const DataReader& reader, const Trouble& trouble, ControlLine& control,
              const Ending& ending);

} // namespace xdcam
