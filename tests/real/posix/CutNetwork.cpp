#include "real/posix/CutNetwork.h"

#include "support/posix/SystemTesting.h"

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace vxcio::test {

namespace {

constexpr const char* kIp = "/usr/sbin/ip";
constexpr const char* kNft = "/usr/sbin/nft";

bool IsProgram(const char* name) {
    return ::access(name, X_OK) == 0;
}

bool Run(std::vector<std::string> words) {
    // Through a shell, for silence.
    words.insert(words.begin(), {"/bin/sh", "-c", "exec \"$@\" > /dev/null 2>&1", "sh"});
    return RunQuietly(words);
}

} // namespace

CutNetwork::CutNetwork() : m_cable("vxc" + std::to_string(::getpid())) {
    if (::geteuid() != 0 || !IsProgram(kIp) || !IsProgram(kNft)) {
        m_lack = "a network namespace wants root, ip and nft";
        return;
    }
    // One of 2^14 networks of four addresses, by the number of the process.
    const int number = ::getpid() & 0x3FFF;
    const std::string net =
        "10." + std::to_string(192 + (number >> 12)) + "." + std::to_string(number >> 6 & 0xFF) + ".";
    const int host = (number & 0x3F) * 4;
    m_nearAddress = net + std::to_string(host + 1);
    m_farAddress = net + std::to_string(host + 2);
    m_lack = LayCable();
}

// The end of its namespace takes the cable away too, but some time after.
CutNetwork::~CutNetwork() {
    if (m_holder) {
        Run({kIp, "link", "del", m_cable});
    }
}

std::string CutNetwork::LayCable() {
    // The file appears at once with all that is in it.
    m_holder = std::make_unique<KeptServer>(
        m_folder.Name("log"),
        std::vector<std::string>{"/usr/bin/unshare", "-n", "/bin/sh", "-c",
                                 "echo $$ > \"$0.new\" && mv \"$0.new\" \"$0\" && exec sleep infinity",
                                 m_folder.Name("id")});
    while (!std::filesystem::exists(m_folder.Name("id"))) {
        if (!m_holder->IsRunning()) {
            return "there are no network namespaces here";
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    std::string id = m_folder.Read("id");
    id.resize(id.find('\n'));
    m_entry = {"/usr/bin/nsenter", "-t", id, "-n"};
    const bool laid =
        Run({kIp, "link", "add", m_cable, "type", "veth", "peer", "name", "vxc", "netns", id}) &&
        Run({kIp, "addr", "add", m_nearAddress + "/30", "dev", m_cable}) &&
        Run({kIp, "link", "set", m_cable, "up"}) &&
        RunThere({kIp, "addr", "add", m_farAddress + "/30", "dev", "vxc"}) &&
        RunThere({kIp, "link", "set", "vxc", "up"}) && RunThere({kIp, "link", "set", "lo", "up"});
    if (!laid) {
        return "there are no cables between network namespaces here";
    }
    // The rules are there from the start and only begin to count, so that a cut is one step.
    const bool ruled =
        RunThere({kNft, "add table ip cut; add chain ip cut in { type filter hook input priority "
                        "0; policy accept; }; add chain ip cut out { type filter hook output "
                        "priority 0; policy accept; };"});
    return ruled ? "" : "there are no packet rules in network namespaces here";
}

bool CutNetwork::RunThere(std::vector<std::string> words) const {
    words.insert(words.begin(), m_entry.begin(), m_entry.end());
    return Run(words);
}

void CutNetwork::Cut() {
    if (!RunThere({kNft, "add rule ip cut in drop; add rule ip cut out drop;"})) {
        throw std::runtime_error("the network cannot be cut");
    }
}

void CutNetwork::Mend() {
    if (!RunThere({kNft, "flush table ip cut;"})) {
        throw std::runtime_error("the network cannot be mended");
    }
}

} // namespace vxcio::test
