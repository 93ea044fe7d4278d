// CutNetwork.h - a network of its own between this process and a server, which a test can cut.
#pragma once

#include "real/posix/KeptServer.h"
#include "support/TempFolder.h"

#include <memory>
#include <string>
#include <vector>

namespace vxcio::test {

// Two ends of a cable: one here, one in a network namespace in which a server is started. It is gone with
// this object, and with the test process. One thread at a time uses it.
class CutNetwork {
public:
    CutNetwork();
    ~CutNetwork();
    CutNetwork(const CutNetwork&) = delete;
    CutNetwork& operator=(const CutNetwork&) = delete;

    // Empty when it is there, else why a test cannot have it.
    const std::string& Lack() const { return m_lack; }
    // Where a server on the other side is reached.
    const std::string& Address() const { return m_farAddress; }
    // What a program is to be started by to run on the other side.
    const std::vector<std::string>& Entry() const { return m_entry; }

    // From then on whatever arrives on either side is dropped, without a word to who sent it.
    void Cut();
    void Mend();

private:
    std::string LayCable();
    bool RunThere(std::vector<std::string> words) const;

    TempFolder m_folder;
    const std::string m_cable;
    std::string m_nearAddress;
    std::string m_farAddress;
    std::string m_lack;
    std::vector<std::string> m_entry;
    std::unique_ptr<KeptServer> m_holder; // keeps the namespace alive
};

} // namespace vxcio::test
