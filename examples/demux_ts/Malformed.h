// Malformed.h - why a transport stream is refused.
#pragma once

#include <stdexcept>

// Thrown at the first thing in the file that is not as it should be; its text is for the user.
class Malformed : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
