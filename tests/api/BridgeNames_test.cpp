// The names of the bridge that hosts and plug-ins link to: all of them are there, in the library and in the
// bridge of 32 bits.
#include "api/LibrarySymbols.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace vxcio::test;

namespace {

std::vector<std::string> RecordOperators() {
    std::vector<std::string> names;
    for (const std::string record :
         {"SInParamLeader", "SOutParamLeader", "SPlugVideoStreamInfo", "SPlugAudioStreamInfo",
          "SPlugSubTitleInfo", "SPlugDemuxerReadSet", "SPlugLinearTimeCode", "SPlugAFDPacket",
          "SPlugAppendInfo_T", "SPlugStreamMetaInfo", "SPlugStreamInfo", "SPlugFRAMEINFO",
          "SPlugSoftImageBuffer", "SMediaDescript"}) {
        names.push_back("operator<<(CVXCSerialize&, " + record + "&)");
        names.push_back("operator>>(CVXCSerialize&, " + record + "&)");
    }
    return names;
}

// The operators of the class itself, its primitives and what belongs to its table.
std::vector<std::string> StreamNames() {
    std::vector<std::string> names = {"vtable for CVXCSerialize",
                                      "typeinfo for CVXCSerialize",
                                      "typeinfo name for CVXCSerialize",
                                      "CVXCSerialize::~CVXCSerialize()",
                                      "CVXCSerialize::WriteBlock(unsigned char const*, unsigned int)",
                                      "CVXCSerialize::ReadBlock(unsigned char*&, unsigned int&, int)",
                                      "CVXCSerialize::SetMessageSize(unsigned int)"};
    for (const std::string type : {"CVXCString", "double", "float"}) {
        names.push_back("CVXCSerialize::operator<<(" + type + " const&)");
        names.push_back("CVXCSerialize::operator>>(" + type + "&)");
        names.push_back("CVXCSerialize::Write(" + type + " const&)");
        names.push_back("CVXCSerialize::Read(" + type + "&)");
    }
    for (const std::string type : {"unsigned long long", "long long", "unsigned int", "int", "unsigned short",
                                   "short", "unsigned char", "signed char"}) {
        names.push_back("CVXCSerialize::operator<<(" + type + ")");
        names.push_back("CVXCSerialize::operator>>(" + type + "&)");
        if (type.rfind("unsigned", 0) == 0) {
            names.push_back("CVXCSerialize::Write(" + type + ")");
            names.push_back("CVXCSerialize::Read(" + type + "&)");
        }
    }
    return names;
}

std::vector<std::string> ChannelNames() {
    return {"vtable for CVXCInteracter",
            "typeinfo for CVXCInteracter",
            "typeinfo name for CVXCInteracter",
            "CVXCInteracter::CVXCInteracter()",
            "CVXCInteracter::CVXCInteracter(CVXCInteracter const&)",
            "CVXCInteracter::operator=(CVXCInteracter const&)",
            "CVXCInteracter::~CVXCInteracter()"};
}

std::vector<std::string> Functions() {
    return {"SerilizeMalloc(unsigned int)",
            "SerilizeFree(unsigned char*)",
            "ObtainSysSender()",
            "ConstructVXCInteratcter(int)",
            "DeleteVXCInteratcter(CVXCInteracter*)",
            "CreateVXCInteractorID(ENUM_PLUG_TYPE, unsigned int, wchar_t*, unsigned int)",
            "ParseVXCInteractorID(wchar_t const*, ENUM_PLUG_TYPE*, unsigned int*)",
            "CreateVXC32ServProcess()",
            "DestoryVXC32ServProcess()",
            "RemoteLoadVXC32Plug(wchar_t const*)",
            "RemoteFreeVXC32Plug(unsigned long long)",
            "RemoteCall_In(CVXCInteracter*, EVXC32_RCALL_CMD, wchar_t const*, wchar_t const*, "
            "CVXCSerialize&)",
            "RemoteCall_Out(CVXCInteracter*, unsigned int, wchar_t const*, CVXCSerialize&, CVXCSerialize&)",
            "vxcio::UsableSpaces(CVXCInteracter&)",
            "vxcio::HasPeer(CVXCInteracter&)"};
}

void ExpectDefined(const std::string& library) {
    const std::vector<std::string> symbols = DefinedSymbols(library);
    for (const auto& names : {RecordOperators(), StreamNames(), ChannelNames(), Functions()}) {
        for (const std::string& name : names) {
            EXPECT_THAT(symbols, testing::Contains(name)) << library;
        }
    }
}

} // namespace

TEST(BridgeNamesTest, TheLibraryDefinesEveryNameOfTheBridge) {
    ASSERT_EQ(RecordOperators().size(), 28u);
    ExpectDefined("libVXCSoftCodecIO.so");
}

#ifdef VXC_TEST_BRIDGE32
TEST(BridgeNamesTest, TheBridgeOf32BitsDefinesThemToo) {
    ExpectDefined("VXC32/libVXC32Bridge.so");
}
#endif
