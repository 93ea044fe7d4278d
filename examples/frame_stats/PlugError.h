// PlugError.h - how the host's side of the example fails: what() is the end of a sentence for people.
#pragma once

#include <stdexcept>

namespace frame_stats {

class PlugError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace frame_stats
