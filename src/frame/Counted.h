// Counted.h - sharing between several owners, such as a caller and the threads that work for it: whoever is
// last frees.
#pragma once

#include "frame/Types.h"

#include <atomic>
#include <utility>

namespace vxcio {

// Base of an object that is held by reference count; made with one reference. Any thread may add and drop.
template <class Object>
class Counted {
public:
    void AddReference() noexcept { m_nReferences.fetch_add(1, std::memory_order_relaxed); }
    void Release() noexcept {
        if (m_nReferences.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete static_cast<Object*>(this);
        }
    }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

protected:
    Counted() = default;
    ~Counted() = default;

private:
    std::atomic<uint32> m_nReferences{1};
};

// One reference, or none.
template <class Object>
class Ref {
public:
    Ref() noexcept = default;
    // Takes over a reference that the caller had; none for null.
    static Ref Adopt(Object* object) noexcept {
        Ref ref;
        ref.m_object = object;
        return ref;
    }
    static Ref Share(Object& object) noexcept {
        object.AddReference();
        return Adopt(&object);
    }
    Ref(const Ref& other) noexcept : m_object(other.m_object) {
        if (m_object != nullptr) {
            m_object->AddReference();
        }
    }
    Ref(Ref&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    Ref& operator=(Ref other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~Ref() {
        if (m_object != nullptr) {
            m_object->Release();
        }
    }

    explicit operator bool() const noexcept { return m_object != nullptr; }
    Object& operator*() const noexcept { return *m_object; }
    Object* operator->() const noexcept { return m_object; }
    Object* Get() const noexcept { return m_object; }
    void Reset() noexcept { *this = Ref(); }

private:
    Object* m_object = nullptr;
};

// For the plain pointer by which a public class holds its inner object: lets go of what it held and shares
// `other`. Either may be null.
template <class Object>
void ShareInto(Object*& held, Object* other) noexcept {
    if (other != nullptr) {
        other->AddReference();
    }
    if (Object* const old = std::exchange(held, other); old != nullptr) {
        old->Release();
    }
}

} // namespace vxcio
