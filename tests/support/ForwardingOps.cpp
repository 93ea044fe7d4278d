#include "support/ForwardingLayer.h"

#include <array>
#include <cstddef>
#include <string_view>

namespace vxcio::test {

namespace {

struct OpFacts {
    Op op;
    const char* name;
    bool hasResult;
    bool blocks;
};

constexpr OpFacts kFacts[] = {
#define VXC_BLOCKS true
#define VXC_INSTANT false
#define VXC_OPERATION(result, name, failure, blocks, parameters, arguments) {Op::name, #name, true, blocks},
#define VXC_OPERATION_VOID(name, blocks, parameters, arguments) {Op::name, #name, false, blocks},
#include "frame/SystemLayer.def"
#undef VXC_OPERATION
#undef VXC_OPERATION_VOID
#undef VXC_BLOCKS
#undef VXC_INSTANT
};

constexpr auto kAll = [] {
    std::array<Op, std::size(kFacts)> all{};
    for (std::size_t i = 0; i < all.size(); ++i) {
        all[i] = kFacts[i].op;
    }
    return all;
}();

const OpFacts& Facts(Op op) {
    return kFacts[static_cast<std::size_t>(op)];
}

} // namespace

std::span<const Op> AllOps() {
    return kAll;
}

const char* OpName(Op op) {
    return Facts(op).name;
}

bool MayBlock(Op op) {
    return Facts(op).blocks;
}

bool CanFail(Op op) {
    return Facts(op).hasResult && op != Op::VXC_GetTickCount && op != Op::VXC_GetLastError &&
           op != Op::VXC_GetLastErrorStringW;
}

} // namespace vxcio::test
