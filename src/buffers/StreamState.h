// StreamState.h - the state of a stream of data that is handed on, as the buffers for plug-ins take and
// report it.
#pragma once

enum PLUG_STREAMSTATE_ {
    PLUG_STREAMSTATE_OPEN = 0, // inside a buffer only: the input is open. Never reported
    PLUG_STREAMSTATE_DATA = 1, // put: more follows. Got: this is data, and more may follow
    PLUG_STREAMSTATE_END = 2,  // put: this is the last. Got: this was the last
};
