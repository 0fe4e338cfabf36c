/// @file
/// A counted interface pointer. Not one of the published names, so streams.h does not include it.

#ifndef ZARNOW_BASECLASSES_COM_PTR_H
#define ZARNOW_BASECLASSES_COM_PTR_H

#include <unknwn.h>
#include <utility>

template <typename T>
class ComPtr
{
public:
    ComPtr() = default;
    /// Takes a reference of its own.
    explicit ComPtr(T* object) : m_object(object) { addRef(); }
    ComPtr(const ComPtr& other) : ComPtr(other.m_object) {}
    ComPtr(ComPtr&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    ~ComPtr() { reset(); }

    ComPtr& operator=(ComPtr other) noexcept
    {
        std::swap(m_object, other.m_object);
        return *this;
    }

    T* get() const { return m_object; }
    T* operator->() const { return m_object; }
    explicit operator bool() const { return m_object != nullptr; }

    /// For a call that returns a counted pointer.
    T** put()
    {
        reset();
        return &m_object;
    }
    void** putVoid() { return reinterpret_cast<void**>(put()); }

    /// Hands the reference over to the caller.
    T* detach() { return std::exchange(m_object, nullptr); }

    void reset()
    {
        if (T* object = std::exchange(m_object, nullptr))
            object->Release();
    }

    /// The interface Q of this object; null when there is none.
    template <typename Q>
    ComPtr<Q> query(REFIID iid) const
    {
        ComPtr<Q> other;
        if (m_object)
            m_object->QueryInterface(iid, other.putVoid());
        return other;
    }

private:
    void addRef()
    {
        if (m_object)
            m_object->AddRef();
    }

    T* m_object = nullptr;
};

#endif
