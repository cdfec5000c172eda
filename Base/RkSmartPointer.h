#pragma once

#include <mutex>
#include <utility>

/// How a smart pointer's object ends: by `delete`, through its virtual destructor.
template <class T>
struct DefaultReaper {
    static void Reap(T* object) { delete object; }
};

/// A reference-counted pointer. Copies of one pointer may be made and dropped by several threads at once (the count has a
/// lock of its own); one RkSmartPointer object is for one thread at a time.
template <class T, template <class> class Reaper = DefaultReaper>
class RkSmartPointer {
public:
    /// Takes ownership. A null pointer has no control object.
    explicit RkSmartPointer(T* object = nullptr) : m_shared(object ? new ObjectPtr(object) : nullptr) {}
    RkSmartPointer(const RkSmartPointer& other) : m_shared(other.m_shared) {
        if (m_shared)
            m_shared->Take();
    }
    RkSmartPointer(RkSmartPointer&& other) noexcept : m_shared(std::exchange(other.m_shared, nullptr)) {}
    RkSmartPointer& operator=(RkSmartPointer other) noexcept {
        std::swap(m_shared, other.m_shared);
        return *this;
    }
    ~RkSmartPointer() {
        if (m_shared && m_shared->Drop())
            delete m_shared;
    }

    T* get() const { return m_shared ? m_shared->m_object : nullptr; }
    T* operator->() const { return get(); }
    T& operator*() const { return *get(); }
    explicit operator bool() const { return get() != nullptr; }

private:
    /// The one shared control object of all copies.
    class ObjectPtr {
    public:
        explicit ObjectPtr(T* object) : m_object(object) {}
        ~ObjectPtr() { Reaper<T>::Reap(m_object); }
        ObjectPtr(const ObjectPtr&) = delete;
        ObjectPtr& operator=(const ObjectPtr&) = delete;

        void Take() {
            const std::lock_guard guard(m_lock);
            ++m_count;
        }
        /// @return whether that was the last copy
        bool Drop() {
            const std::lock_guard guard(m_lock);
            return --m_count == 0;
        }

        T* const m_object;

    private:
        std::mutex m_lock;  ///< guards m_count
        int m_count = 1;
    };

    ObjectPtr* m_shared;
};
