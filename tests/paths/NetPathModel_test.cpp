// Machines and names put together at random, by the library and step by step; and the kept inputs of the fuzz
// program, each of them cut short too.
#include "paths/NetPathModel.h"

#include "fuzz/NetPathsInput.h"
#include "paths/FakeNetwork.h"
#include "paths/NetPathExchange.h"
#include "support/FuzzCorpus.h"
#include "text/Utf8.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;

namespace {

class Names {
public:
    explicit Names(unsigned seed) : m_random(seed) {}

    std::size_t Below(std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(m_random);
    }
    template <std::size_t Count>
    std::wstring One(const wchar_t* const (&of)[Count]) {
        return of[Below(Count)];
    }
    std::wstring Host() {
        static const wchar_t* const hosts[] = {L"HOST",     L"host",     L"Work",   L"work1",   L"nas",
                                               L"10.0.0.1", L"10.0.0.2", L"nobody", L"1.2.3.4", L"10.0.0.02"};
        return One(hosts);
    }
    std::wstring Part() {
        static const wchar_t* const parts[] = {L"a",     L"A",      L"b",      L"media",
                                               L"MEDIA", L"media2", L"\u00E4", L"\u00C4"};
        return One(parts);
    }
    // Mostly one backslash.
    std::wstring Separator() { return std::wstring(Below(6) == 0 ? 1 + Below(3) : 1, L'\\'); }
    std::wstring Parts(std::size_t most) {
        std::wstring text;
        for (std::size_t i = Below(most + 1); i > 0; --i) {
            text += Separator() + Part();
        }
        return text;
    }
    std::wstring Root() {
        static const wchar_t* const begins[] = {L"\\\\", L"\\\\", L"\\\\", L"\\\\work\\", L"\\", L"\\\\\\"};
        return One(begins) + Host() + Parts(2);
    }
    std::wstring Name() {
        static const wchar_t* const begins[] = {L"",     L"",      L"",        L"",  L"abc",
                                                L"Work", L"Local", L"LOCAL\\", L"Z:"};
        return One(begins) + Root() + Parts(3) + (Below(8) == 0 ? L"\\" : L"");
    }
    std::wstring Folder() {
        static const wchar_t* const begins[] = {L"D:", L"d:", L"\\srv", L"", L"E:\\"};
        return One(begins) + Parts(2);
    }

private:
    std::mt19937 m_random;
};

std::wstring Dotted(uint32 address) {
    return L"10.0.0." + std::to_wstring(address & 0xFF);
}

} // namespace

TEST(NetPathModelTest, RandomNamesAreConvertedAsStepByStep) {
    Names names(9);
    int toLocal = 0;
    int toUNC = 0;
    int asGiven = 0;
    for (int round = 0; round < 2000; ++round) {
        FakeNetwork network;
        ModelTable model;
        for (std::size_t i = names.Below(4); i > 0; --i) {
            const std::wstring share = names.Part() + std::to_wstring(i);
            const std::vector<uint8> record = names.Below(5) == 0
                                                  ? RecordBytes(L"Type=0;Path=" + names.Folder())
                                                  : FolderRecord(names.Folder());
            network.shares.push_back({L"\\\\HOST\\" + share});
            network.records[share] = record;
        }
        for (const auto& call : network.shares) {
            const std::wstring share = call[0].substr(call[0].rfind(L'\\') + 1);
            model.records.push_back({call[0], L"", ModelFolder(network.records[share]).value()});
        }
        for (const wchar_t* const drive : {L"C:", L"M:", L"Z:"}) {
            if (names.Below(2) == 0) {
                network.drives[drive] = names.Root();
                model.records.push_back(ModelConnection(network.drives[drive], drive));
            }
        }
        for (std::size_t i = names.Below(3); i > 0; --i) {
            network.mounts.emplace_back(names.Root(), names.Folder());
            model.records.push_back(
                ModelConnection(network.mounts.back().first, network.mounts.back().second));
        }
        static const wchar_t* const groups[] = {L"", L"work", L"WORK", L"host", L"nas\\a"};
        model.workgroup = names.One(groups);
        network.SetWorkgroup(model.workgroup);
        std::map<std::wstring, uint32> hosts;
        for (const wchar_t* const host : {L"HOST", L"host", L"nas", L"Work"}) {
            if (names.Below(2) == 0) {
                hosts[host] = 0x0A000001 + static_cast<uint32>(names.Below(2));
                network.SetHost(ToUtf8(host), hosts[host]);
            }
        }
        model.addressOf = [&](const std::wstring& host) {
            return hosts.contains(host) ? Dotted(hosts[host]) : std::wstring();
        };
        CQLNetPathExchange exchange;
        for (int i = 0; i < 20; ++i) {
            const std::wstring name = names.Name();
            CVXCString out;
            exchange.ConvertUNC2Local(name.c_str(), out);
            ASSERT_EQ(out.c_str(), model.ToLocal(name)) << ToDisplayUtf8(name) << ", round " << round;
            ++(out.c_str() == name ? asGiven : toLocal);
            const std::wstring local = names.Folder() + names.Parts(2);
            exchange.ConvertLocal2UNC(local.c_str(), out);
            ASSERT_EQ(out.c_str(), model.ToUNC(local)) << ToDisplayUtf8(local) << ", round " << round;
            toUNC += std::wstring(out.c_str()).starts_with(L"Local\\") ? 0 : 1;
        }
    }
    EXPECT_GT(toLocal, 10000);
    EXPECT_GT(toUNC, 10000);
    EXPECT_GT(asGiven, 20000);
}

TEST(NetPathModelTest, RandomTextsAreAddressesAsStepByStep) {
    Names names(4);
    static const wchar_t* const pieces[] = {
        L"0",  L"00", L"1", L"9", L"25", L"5", L"255", L"256", L"999", L".",  L".",  L".",     L".",
        L"..", L"a",  L" ", L"/", L":",  L".", L".1",  L"2.",  L"10.", L".0", L"4.", L"1.2.3."};
    int addresses = 0;
    for (int i = 0; i < 200000; ++i) {
        std::wstring text;
        for (std::size_t n = 2 + names.Below(9); n > 0; --n) {
            text += names.One(pieces);
        }
        const bool expected = ModelIsAddress(text);
        ASSERT_EQ(CQLNetPathExchange::IsIPv4Address(text.c_str()) != 0, expected) << ToDisplayUtf8(text);
        addresses += expected ? 1 : 0;
    }
    EXPECT_GT(addresses, 1200);
}

TEST(NetPathModelTest, NamesThatTheFuzzerFoundAreConvertedAsStepByStep) {
    ReplayCorpus("fuzz_net_paths", vxcio::fuzz::FuzzNetPaths);
}
