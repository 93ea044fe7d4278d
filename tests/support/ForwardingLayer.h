// ForwardingLayer.h - the system layer as the tests of the logic see it.
//
// A program with Forwarding.cpp defines every operation of frame/SystemLayer.def itself. Each asks the fault
// plan (FaultPlan.h) and the clock (TestClock.h), and reaches the real operation in the system library:
//
//   logic -> VXC_ReadFile (Forwarding.cpp) -> plan: before -> clock or real::VXC_ReadFile -> plan: after
//
// Without a plan and a clock a call costs one atomic load more. The log is not forwarded. What the system
// library calls within a real operation is not seen by plan and clock.
#pragma once

#include "frame/SystemLayer.h"

#include <span>

namespace vxcio::test {

// One member for each operation, under its own name.
enum class Op : int {
#define VXC_OPERATION(result, name, failure, blocks, parameters, arguments) name,
#define VXC_OPERATION_VOID(name, blocks, parameters, arguments) name,
#include "frame/SystemLayer.def"
#undef VXC_OPERATION
#undef VXC_OPERATION_VOID
};

// All of them, in the order of the list; Op values are indexes into it.
std::span<const Op> AllOps();

// "VXC_ReadFile"
const char* OpName(Op op);

// Whether it may wait for a disk, a network or another thread.
bool MayBlock(Op op);

// Whether it has a result that tells of a failure. The void operations, the tick count and the questions
// for the last error have none.
bool CanFail(Op op);

// The operations of the system library, whatever plan or clock there is; for the test ground itself and for
// a test's own preparations. They end the program with a message where the library has no such operation.
namespace real {
#define VXC_OPERATION(result, name, failure, blocks, parameters, arguments) result name parameters noexcept;
#define VXC_OPERATION_VOID(name, blocks, parameters, arguments) void name parameters noexcept;
#include "frame/SystemLayer.def"
#undef VXC_OPERATION
#undef VXC_OPERATION_VOID
} // namespace real

} // namespace vxcio::test
