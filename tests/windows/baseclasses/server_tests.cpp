// The module as a COM server, in what the filter's own module does not show: creators that fail, aggregates, locks.

#include <new>

#include "pair.h"

STDAPI DllGetClassObject(REFCLSID clsid, REFIID riid, LPVOID* ppv);

namespace zarnow::test {

namespace {

// {D2E1B0B1-6E4C-4B5A-9B7F-0C1E7E6A9A02} to 04
constexpr CLSID CLSID_Source = {0xd2e1b0b1, 0x6e4c, 0x4b5a, {0x9b, 0x7f, 0x0c, 0x1e, 0x7e, 0x6a, 0x9a, 0x02}};
constexpr CLSID CLSID_Failing = {0xd2e1b0b1, 0x6e4c, 0x4b5a, {0x9b, 0x7f, 0x0c, 0x1e, 0x7e, 0x6a, 0x9a, 0x03}};
constexpr CLSID CLSID_Throwing = {0xd2e1b0b1, 0x6e4c, 0x4b5a, {0x9b, 0x7f, 0x0c, 0x1e, 0x7e, 0x6a, 0x9a, 0x04}};

CUnknown* CALLBACK createSource(LPUNKNOWN outer, HRESULT*)
{
    return new TestSource({}, 1, outer);
}

CUnknown* CALLBACK createFailing(LPUNKNOWN outer, HRESULT* result)
{
    *result = E_ACCESSDENIED;
    return new TestSource({}, 1, outer);
}

CUnknown* CALLBACK createThrowing(LPUNKNOWN, HRESULT*)
{
    throw std::bad_alloc();
}

}  // namespace

}  // namespace zarnow::test

CFactoryTemplate g_Templates[] = {
    {L"Source", &zarnow::test::CLSID_Source, zarnow::test::createSource, nullptr, nullptr},
    {L"Failing", &zarnow::test::CLSID_Failing, zarnow::test::createFailing, nullptr, nullptr},
    {L"Throwing", &zarnow::test::CLSID_Throwing, zarnow::test::createThrowing, nullptr, nullptr},
};
int g_cTemplates = 3;

namespace zarnow::test {

namespace {

class Server : public FrameworkTest
{
protected:
    static ComPtr<IClassFactory> factory(REFCLSID clsid = CLSID_Source)
    {
        ComPtr<IClassFactory> result;
        EXPECT_HRESULT(S_OK, DllGetClassObject(clsid, IID_IClassFactory, result.putVoid()));
        return result;
    }
};

TEST_F(Server, FailuresLeaveNothing)
{
    void* out = &out;
    EXPECT_HRESULT(E_NOINTERFACE, DllGetClassObject(CLSID_Source, IID_IBaseFilter, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_HRESULT(E_POINTER, DllGetClassObject(CLSID_Source, IID_IClassFactory, nullptr));
    out = &out;
    EXPECT_HRESULT(E_NOINTERFACE, factory()->CreateInstance(nullptr, IID_IDispatch, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_HRESULT(E_POINTER, factory()->CreateInstance(nullptr, IID_IBaseFilter, nullptr));
    EXPECT_HRESULT(E_ACCESSDENIED, factory(CLSID_Failing)->CreateInstance(nullptr, IID_IBaseFilter, &out));
    EXPECT_HRESULT(E_OUTOFMEMORY, factory(CLSID_Throwing)->CreateInstance(nullptr, IID_IBaseFilter, &out));
}

/// An outer object that holds an inner one and shows its interfaces.
class Outer : public CUnknown
{
public:
    Outer() : CUnknown(nullptr, nullptr) { NonDelegatingAddRef(); }
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override
    {
        return riid == IID_IUnknown ? CUnknown::NonDelegatingQueryInterface(riid, ppv)
                                    : inner->QueryInterface(riid, ppv);
    }
    ComPtr<IUnknown> inner;
};

TEST_F(Server, AggregatesAreAskedForByIUnknownAndHaveTheOuterIdentity)
{
    Outer outer;
    IUnknown* const controlling = outer.GetOwner();
    void* out = &out;
    EXPECT_HRESULT(E_NOINTERFACE, factory()->CreateInstance(controlling, IID_IBaseFilter, &out));
    EXPECT_EQ(nullptr, out);
    ASSERT_HRESULT(S_OK, factory()->CreateInstance(controlling, IID_IUnknown, outer.inner.putVoid()));
    EXPECT_NE(controlling, outer.inner.get()) << "the inner object's own IUnknown does not delegate";
    EXPECT_EQ(1u, references(outer.inner.get()));
    {
        const auto filter = ComPtr<IUnknown>(controlling).query<IBaseFilter>(IID_IBaseFilter);
        ASSERT_TRUE(filter);
        EXPECT_EQ(controlling, filter.query<IUnknown>(IID_IUnknown).get());
        EXPECT_EQ(2u, references(controlling)) << "a reference on the inner filter counts on the outer object";
        ComPtr<IPin> pin;
        EXPECT_HRESULT(S_OK, filter->FindPin(L"1", pin.put()));
        EXPECT_EQ(3u, references(controlling)) << "and so does one on its pin";
    }
    EXPECT_EQ(1u, references(controlling));
    EXPECT_EQ(0u, outer.inner.detach()->Release());
}

TEST_F(Server, AnUnlockTooManyIsForgotten)
{
    const auto maker = factory();
    maker->LockServer(FALSE);
    EXPECT_FALSE(CClassFactory::IsLocked()) << "it does not keep the module for good";
    maker->LockServer(TRUE);
    EXPECT_TRUE(CClassFactory::IsLocked()) << "nor does it take the next lock";
    maker->LockServer(FALSE);
}

}  // namespace

}  // namespace zarnow::test
