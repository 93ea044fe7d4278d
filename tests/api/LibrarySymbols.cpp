#include "api/LibrarySymbols.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <utility>

namespace vxcio::test {

std::string Output(const std::string& command) {
    std::FILE* const pipe = popen(command.c_str(), "r");
    std::string text;
    char buffer[4096];
    for (std::size_t got = 0; pipe != nullptr && (got = fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
        text.append(buffer, got);
    }
    EXPECT_TRUE(pipe != nullptr && pclose(pipe) == 0) << command;
    return text;
}

std::vector<std::string> DefinedSymbols(const std::string& library) {
    std::istringstream lines(Output("nm -D -C --defined-only '" VXC_TEST_LIBRARY_DIR "/" + library + "'"));
    std::vector<std::string> names;
    for (std::string line; std::getline(lines, line);) {
        std::string name = line.substr(line.find(' ', line.find(' ') + 1) + 1);
        // Marks of AddressSanitizer, where it is built in.
        if (name.rfind("__odr_asan", 0) != 0 && name.rfind("___asan", 0) != 0) {
            names.push_back(std::move(name));
        }
    }
    return names;
}

} // namespace vxcio::test
