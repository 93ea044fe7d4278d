// NetPathFixture.h - a table of shares of a test's own over a fake machine.
#pragma once

#include "paths/FakeNetwork.h"
#include "paths/NetPathExchange.h"
#include "paths/SpecialDrives.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vxcio {

struct NetPathInspector {
    static bool IsBuilt(const CQLNetPathExchange& exchange) { return exchange.m_bInitialized != 0; }
    static const std::vector<NetPathRecord>& Table(const CQLNetPathExchange& exchange) {
        return exchange.m_PathTable;
    }
    static const std::wstring& Workgroup(const CQLNetPathExchange& exchange) {
        return exchange.m_strWorkgroup;
    }
    // As it was before the first conversion. Nobody may convert meanwhile.
    static void Forget(CQLNetPathExchange& exchange) {
        exchange.m_bInitialized = 0;
        exchange.m_PathTable.clear();
        exchange.m_strWorkgroup.clear();
    }
};

inline bool operator==(const NetPathRecord& left, const NetPathRecord& right) {
    return left.strNameUNC == right.strNameUNC && left.strIPUNC == right.strIPUNC &&
           left.strLocal == right.strLocal;
}

namespace test {

class NetPathFixture : public ::testing::Test {
protected:
    using Inspector = NetPathInspector;

    NetPathFixture() { ForgetSpecialDrives(); }
    ~NetPathFixture() override {
        EXPECT_EQ(network.StillOpen(), 0);
        ForgetSpecialDrives();
    }

    // The lookup alone, and the whole conversion.
    std::wstring Lookup(const wchar_t* path) {
        CVXCString out = L"untouched";
        exchange.ConvertUNC2Local(path, out);
        return out.c_str();
    }
    std::wstring UNC2Local(const wchar_t* path) { return exchange.UNC2Local(path).c_str(); }
    std::wstring Reverse(const wchar_t* path) {
        CVXCString out = L"untouched";
        exchange.ConvertLocal2UNC(path, out);
        return out.c_str();
    }
    std::wstring Local2UNC(const wchar_t* path) { return exchange.Local2UNC(path).c_str(); }
    const std::vector<NetPathRecord>& Table() {
        Lookup(L"");
        return Inspector::Table(exchange);
    }

    FakeNetwork network;
    CQLNetPathExchange exchange;
};

} // namespace test
} // namespace vxcio
