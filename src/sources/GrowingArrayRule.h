// GrowingArrayRule.h - how the growing arrays of this library keep their elements: the rule by which they
// grow, and storage that several arrays may share.
//
// The functions work on the four fields of an array, a plain struct with
//
//   Element* pData;                      null without storage
//   int64 nCount, nCapacity, nGrowStep;  elements in use, elements there is room for, step set by the caller
//
//   fields of one array            storage
//   pData ----------------------> | holders, former, slots | element 0 | element 1 | ... | last slot |
//   fields of another array            ^
//   pData -----------------------------+  shares it until one of them grows: that one moves to new storage
//
// Each slot holds a live element, in use or not. Nothing throws. Arrays that share storage may end on any
// thread; everything else is for one thread at a time.
#pragma once

#include "frame/Types.h"
#include "frame/VXCString.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

namespace vxcio {

template <class Element>
class GrowingStorage {
public:
    // Null when memory lacks.
    static Element* Make(int64 slots) noexcept {
        constexpr int64 kMost =
            (std::numeric_limits<int64>::max() - int64{sizeof(GrowingStorage)}) / int64{sizeof(Element)};
        if (slots > kMost) {
            return nullptr;
        }
        const std::size_t bytes = sizeof(GrowingStorage) + static_cast<std::size_t>(slots) * sizeof(Element);
        void* const memory = ::operator new(bytes, std::nothrow);
        if (memory == nullptr) {
            return nullptr;
        }
        auto* const storage = new (memory) GrowingStorage(slots);
        Element* const data = storage->Data();
        for (int64 i = 0; i < slots; ++i) {
            new (data + i) Element();
        }
        return data;
    }

    static void Hold(Element* data) noexcept {
        if (data != nullptr) {
            Of(data)->m_nHolders.fetch_add(1, std::memory_order_relaxed);
        }
    }

    // The last holder frees the storage, and with it its hold on the former one.
    static void Release(Element* data) noexcept {
        while (data != nullptr) {
            GrowingStorage* const storage = Of(data);
            if (storage->m_nHolders.fetch_sub(1, std::memory_order_acq_rel) != 1) {
                return;
            }
            Element* const former = storage->m_pFormer;
            for (int64 i = 0; i < storage->m_nSlots; ++i) {
                data[i].~Element();
            }
            storage->~GrowingStorage();
            ::operator delete(storage);
            data = former;
        }
    }

    // Fills the first `count` slots of new storage from `from` and gives up that one. Shared elements are
    // copied, and the old storage then lives as long as the new one: addresses that were given out of it stay
    // good. False when memory lacks; then nothing is given up.
    static bool TakeOver(Element* to, Element* from, int64 count) noexcept {
        if (Of(from)->m_nHolders.load(std::memory_order_acquire) == 1) {
            std::move(from, from + count, to);
            Of(to)->m_pFormer = std::exchange(Of(from)->m_pFormer, nullptr);
            Release(from);
            return true;
        }
        if constexpr (std::is_copy_assignable_v<Element>) {
            for (int64 i = 0; i < count; ++i) {
                to[i] = from[i];
                if (IsLost(to[i], from[i])) {
                    return false;
                }
            }
            Of(to)->m_pFormer = from;
            return true;
        }
        return false;
    }

private:
    explicit GrowingStorage(int64 slots) noexcept : m_nSlots(slots) {
        static_assert(alignof(Element) <= alignof(GrowingStorage), "elements start right behind the fields");
    }

    static GrowingStorage* Of(Element* data) noexcept { return reinterpret_cast<GrowingStorage*>(data) - 1; }
    Element* Data() noexcept { return reinterpret_cast<Element*>(this + 1); }

    // A string that finds no memory becomes empty.
    template <class Any>
    static bool IsLost(const Any& copy, const Any& original) noexcept {
        if constexpr (std::is_same_v<Any, CVXCString>) {
            return copy.GetLength() != original.GetLength();
        } else {
            static_assert(std::is_trivially_copyable_v<Any>);
            return false;
        }
    }

    std::atomic<int64> m_nHolders{1};
    const int64 m_nSlots;
    Element* m_pFormer = nullptr; // storage held along with this one
};

template <class Fields>
using ElementOf = std::remove_pointer_t<decltype(Fields::pData)>;

// Ends the use of the storage. The step stays.
template <class Fields>
void ArrayFree(Fields& array) noexcept {
    GrowingStorage<ElementOf<Fields>>::Release(std::exchange(array.pData, nullptr));
    array.nCount = 0;
    array.nCapacity = 0;
}

// `to` uses the storage of `from`, with the same count, capacity and step.
template <class Fields>
void ArrayShare(Fields& to, const Fields& from) noexcept {
    GrowingStorage<ElementOf<Fields>>::Hold(from.pData);
    auto* const old = to.pData;
    to = from;
    GrowingStorage<ElementOf<Fields>>::Release(old);
}

inline constexpr int64 kKeepStep = -1;

// Capacity of an array that must hold `count` elements and has less room.
inline int64 GrownCapacity(int64 used, int64 capacity, int64 growStep, int64 count) noexcept {
    constexpr int64 kSmallestStep = 4;
    constexpr int64 kLargestStep = 1024;
    const int64 step = growStep != 0 ? growStep : std::clamp(used / 8, kSmallestStep, kLargestStep);
    // A step of the caller's that leaves the range adds nothing.
    return step > std::numeric_limits<int64>::max() - capacity ? count : std::max(count, capacity + step);
}

// Sets the count, and the step unless that is below 0. New elements are zero or empty. False for a count
// below 0 and when memory lacks: the array then keeps its elements, and the step is set all the same.
template <class Fields>
bool ArraySetCount(Fields& array, int64 count, int64 growStep = kKeepStep) noexcept {
    using Element = ElementOf<Fields>;
    using Storage = GrowingStorage<Element>;
    if (growStep >= 0) {
        array.nGrowStep = growStep;
    }
    if (count < 0) {
        return false;
    }
    if (count == 0) {
        ArrayFree(array);
        return true;
    }
    if (array.pData != nullptr && count <= array.nCapacity) {
        for (int64 i = array.nCount; i < count; ++i) {
            array.pData[i] = Element();
        }
        array.nCount = count;
        return true;
    }
    const int64 capacity = array.pData == nullptr
                               ? std::max(count, array.nGrowStep)
                               : GrownCapacity(array.nCount, array.nCapacity, array.nGrowStep, count);
    Element* const data = Storage::Make(capacity);
    if (data == nullptr) {
        return false;
    }
    if (array.pData != nullptr && !Storage::TakeOver(data, array.pData, array.nCount)) {
        Storage::Release(data);
        return false;
    }
    array.pData = data;
    array.nCount = count;
    array.nCapacity = capacity;
    return true;
}

// False when memory lacks; the array is unchanged then.
template <class Fields>
bool ArrayAppend(Fields& array, ElementOf<Fields>&& element) noexcept {
    if (!ArraySetCount(array, array.nCount + 1)) {
        return false;
    }
    array.pData[array.nCount - 1] = std::move(element);
    return true;
}

// The tail moves down, the capacity stays. Nothing for an index outside the array.
template <class Fields>
void ArrayRemoveAt(Fields& array, int64 index) noexcept {
    if (index < 0 || index >= array.nCount) {
        return;
    }
    std::move(array.pData + index + 1, array.pData + array.nCount, array.pData + index);
    --array.nCount;
    array.pData[array.nCount] = ElementOf<Fields>();
}

} // namespace vxcio
