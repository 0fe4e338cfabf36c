/// @file
/// What all tests of the framework share: HRESULT checks, object counts, a fake graph.

#ifndef ZARNOW_TESTS_BASECLASSES_SUPPORT_H
#define ZARNOW_TESTS_BASECLASSES_SUPPORT_H

#include "streams.h"

#include <gtest/gtest.h>
#include <cstdio>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "com_ptr.h"
#include "tests/windows/support/hresult.h"

/// Fails a test that leaves objects of the framework behind.
class FrameworkTest : public testing::Test
{
protected:
    /// After the members of the fixtures that derive from this one are gone.
    ~FrameworkTest() override { EXPECT_EQ(m_before, CBaseObject::ObjectsActive()) << "objects left behind"; }

private:
    const LONG m_before = CBaseObject::ObjectsActive();
};

/// References on an object.
inline ULONG references(IUnknown* object)
{
    object->AddRef();
    return object->Release();
}

/// Takes the first reference on a new object of a class derived from CUnknown.
template <typename I>
ComPtr<I> take(CUnknown* object, REFIID iid)
{
    ComPtr<I> result;
    object->NonDelegatingAddRef();
    object->NonDelegatingQueryInterface(iid, result.putVoid());
    object->NonDelegatingRelease();
    return result;
}

/// A graph that records events and knows no filters.
class FakeGraph : public CUnknown, public IFilterGraph, public IMediaEventSink
{
public:
    DECLARE_IUNKNOWN
    FakeGraph() : CUnknown(nullptr, nullptr) { NonDelegatingAddRef(); }

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override
    {
        if (riid == IID_IFilterGraph)
            return GetInterface(static_cast<IFilterGraph*>(this), ppv);
        if (riid == IID_IMediaEventSink)
            return GetInterface(static_cast<IMediaEventSink*>(this), ppv);
        return CUnknown::NonDelegatingQueryInterface(riid, ppv);
    }

    STDMETHODIMP Notify(LONG code, LONG_PTR param1, LONG_PTR param2) override
    {
        const std::lock_guard lock(m_mutex);
        m_events.push_back({code, param1, param2});
        return S_OK;
    }
    STDMETHODIMP AddFilter(IBaseFilter*, LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP RemoveFilter(IBaseFilter*) override { return E_NOTIMPL; }
    STDMETHODIMP EnumFilters(IEnumFilters**) override { return E_NOTIMPL; }
    STDMETHODIMP FindFilterByName(LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
    STDMETHODIMP ConnectDirect(IPin*, IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP Reconnect(IPin* pin) override
    {
        m_reconnected = pin;
        return S_OK;
    }
    STDMETHODIMP Disconnect(IPin*) override { return E_NOTIMPL; }
    STDMETHODIMP SetDefaultSyncSource() override { return E_NOTIMPL; }

    struct Event
    {
        LONG code;
        LONG_PTR param1;
        LONG_PTR param2;
        bool operator==(const Event&) const = default;
    };

    std::vector<Event> events()
    {
        const std::lock_guard lock(m_mutex);
        return m_events;
    }

    IPin* m_reconnected = nullptr;

private:
    std::mutex m_mutex;
    std::vector<Event> m_events;
};

#endif
