// Handles.h - the numbers by which a host names what the server holds. Never addresses: one that is stale,
// made up or of another kind is refused.
//
//   bits 63 to 48  kind      47 to 32  generation, from 1      31 to 0  place in the table, from 1
#pragma once

#include "frame/Types.h"

#include <memory>
#include <utility>
#include <vector>

namespace vxcserver {

enum class HandleKind : uint16 { Plug = 1, Channel = 2 };

// One thread at a time.
template <class Object, HandleKind Kind>
class HandleTable {
public:
    uint64 Add(std::shared_ptr<Object> object) {
        for (std::size_t place = 0; place < m_slots.size(); ++place) {
            Slot& slot = m_slots[place];
            if (slot.object == nullptr && slot.generation < kLastGeneration) {
                ++slot.generation;
                slot.object = std::move(object);
                return HandleOf(place);
            }
        }
        m_slots.push_back({1, std::move(object)});
        return HandleOf(m_slots.size() - 1);
    }

    // Null for one that is not held.
    std::shared_ptr<Object> Find(uint64 handle) const {
        const std::size_t place = PlaceOf(handle);
        return place < m_slots.size() && HandleOf(place) == handle ? m_slots[place].object : nullptr;
    }

    // Whether it was held once and is not any more.
    bool IsGone(uint64 handle) const {
        const std::size_t place = PlaceOf(handle);
        if (place >= m_slots.size() || handle >> 48 != static_cast<uint64>(Kind)) {
            return false;
        }
        const auto generation = static_cast<uint16>(handle >> 32);
        const Slot& slot = m_slots[place];
        return generation != 0 &&
               (generation < slot.generation || (generation == slot.generation && slot.object == nullptr));
    }

    void Remove(uint64 handle) {
        if (Find(handle) != nullptr) {
            m_slots[PlaceOf(handle)].object.reset();
        }
    }

    // Of all that are held.
    std::vector<uint64> Handles() const {
        std::vector<uint64> handles;
        for (std::size_t place = 0; place < m_slots.size(); ++place) {
            if (m_slots[place].object != nullptr) {
                handles.push_back(HandleOf(place));
            }
        }
        return handles;
    }

private:
    // A place that has had them all is not used again.
    static constexpr uint16 kLastGeneration = 0xFFFF;

    struct Slot {
        uint16 generation;
        std::shared_ptr<Object> object;
    };

    static std::size_t PlaceOf(uint64 handle) { return static_cast<std::size_t>((handle & 0xFFFFFFFFu) - 1); }
    uint64 HandleOf(std::size_t place) const {
        return static_cast<uint64>(Kind) << 48 | static_cast<uint64>(m_slots[place].generation) << 32 |
               (place + 1);
    }

    std::vector<Slot> m_slots;
};

} // namespace vxcserver
