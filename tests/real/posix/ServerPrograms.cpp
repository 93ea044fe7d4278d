#include "real/posix/ServerPrograms.h"

#include <unistd.h>

namespace vxcio::test {

std::string ServerProgram(std::string_view name) {
    for (const char* folder : {VXC_TEST_SERVERS_DIR "/usr/sbin/", VXC_TEST_SERVERS_DIR "/usr/bin/",
                               "/usr/sbin/", "/usr/bin/", "/usr/local/sbin/", "/usr/local/bin/"}) {
        std::string program = folder;
        program += name;
        if (::access(program.c_str(), X_OK) == 0) {
            return program;
        }
    }
    return {};
}

} // namespace vxcio::test
