#include "fuzz/NetPathsInput.h"

#include "fuzz/Require.h"
#include "paths/FakeNetwork.h"
#include "paths/NetPathExchange.h"
#include "paths/NetPathModel.h"
#include "text/Utf8.h"

#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vxcio::fuzz {

namespace {

constexpr std::size_t kMostCharacters = 1000; // what the rooms of all texts hold
constexpr std::size_t kMostRecordBytes = 2048;
constexpr std::size_t kMostShares = 8;
constexpr uint32 kFirstAddress = 0x0A000001;

// As it comes over an interface: up to its first zero.
std::wstring Text(std::string_view bytes) {
    std::wstring text = FromUtf8(bytes);
    text.resize(std::min(text.find(L'\0'), text.size()));
    return text;
}

std::wstring ShortText(std::string_view bytes) {
    return Text(bytes).substr(0, kMostCharacters);
}

std::wstring Dotted(uint32 address) {
    return std::to_wstring(address >> 24) + L'.' + std::to_wstring(address >> 16 & 0xFF) + L'.' +
           std::to_wstring(address >> 8 & 0xFF) + L'.' + std::to_wstring(address & 0xFF);
}

// What the lines make of the machine, and the same for the model.
struct Machine {
    test::FakeNetwork network;
    test::ModelTable model;
    std::vector<test::ModelRecord> drives;
    std::map<std::string, uint32> hosts;
    std::vector<std::wstring> names;

    void AddShare(std::string_view record) {
        if (network.records.size() == kMostShares) {
            return;
        }
        const std::wstring share = L"s" + std::to_wstring(network.records.size());
        const std::vector<uint8> bytes(record.begin(), record.end());
        network.shares.push_back({L"\\\\HOST\\" + share});
        network.records[share] = bytes;
        const auto folder = bytes.size() <= kMostRecordBytes ? test::ModelFolder(bytes) : std::nullopt;
        if (folder) {
            model.records.push_back({L"\\\\HOST\\" + share, L"", *folder});
        }
    }
    void AddDrive(std::string_view remoteName) {
        const std::wstring name = ShortText(remoteName);
        const wchar_t letter = static_cast<wchar_t>(L'C' + static_cast<int>(drives.size()));
        if (name.empty() || letter > L'Z') {
            return;
        }
        const std::wstring drive{letter, L':'};
        network.drives[drive] = name;
        drives.push_back(test::ModelConnection(name, drive));
    }
    void AddHost(std::string_view host) {
        const std::string name(host.substr(0, host.find('\0')));
        const uint32 address = kFirstAddress + static_cast<uint32>(hosts.size());
        hosts[name] = address;
        network.SetHost(name, address);
    }
    void SetWorkgroup(std::string_view name) {
        model.workgroup = ShortText(name);
        network.SetWorkgroup(model.workgroup);
    }
    void Take(std::string_view line) {
        const char kind = line.empty() ? ' ' : line[0];
        const std::string_view rest = line.substr(line.empty() ? 0 : 1);
        switch (kind) {
        case 's':
            return AddShare(rest);
        case 'd':
            return AddDrive(rest);
        case 'h':
            return AddHost(rest);
        case 'w':
            return SetWorkgroup(rest);
        default:
            names.push_back(Text(line));
        }
    }
};

void CheckName(CQLNetPathExchange& exchange, test::ModelTable& model, const std::wstring& name) {
    CVXCString out;
    exchange.ConvertUNC2Local(name.c_str(), out);
    Require(out.c_str() == model.ToLocal(name), "a name of a share leads where the rules lead");
    exchange.ConvertLocal2UNC(name.c_str(), out);
    Require(out.c_str() == model.ToUNC(name), "a local name is in the share that the rules find");
    Require((CQLNetPathExchange::IsIPv4Address(name.c_str()) != 0) == test::ModelIsAddress(name),
            "an address is four numbers");
    for (const test::ModelRecord& record : model.records) {
        for (const std::wstring& root : {record.nameUNC, record.ipUNC, record.local}) {
            CVXCString suffix = L"+";
            const int matches = CQLNetPathExchange::MatchPathRoot(name.c_str(), root.c_str(), suffix);
            const auto expected = test::ModelMatch(name, root);
            Require((matches != 0) == expected.has_value(), "a path matches a root by its parts");
            Require(suffix.c_str() == L"+" + expected.value_or(L""), "the rest alone is appended");
        }
    }
}

} // namespace

void FuzzNetPaths(const std::uint8_t* data, std::size_t size) {
    Machine machine;
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    while (!rest.empty()) {
        const std::size_t length = std::min(rest.find('\n'), rest.size());
        machine.Take(rest.substr(0, length));
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
    for (const test::ModelRecord& drive : machine.drives) {
        machine.model.records.push_back(drive);
    }
    machine.model.addressOf = [&](const std::wstring& host) {
        const auto found = machine.hosts.find(ToUtf8(host));
        return found == machine.hosts.end() ? std::wstring() : Dotted(found->second);
    };
    CQLNetPathExchange exchange;
    for (const std::wstring& name : machine.names) {
        CheckName(exchange, machine.model, name);
    }
    Require(machine.network.StillOpen() == 0, "what was opened was closed");
}

} // namespace vxcio::fuzz
