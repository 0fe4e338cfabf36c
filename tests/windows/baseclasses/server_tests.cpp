// Class factories, in what the filter's own module does not show: creators that
// fail, aggregates, locks.

#include <new>

#include "pair.h"

// The library wants a table, for entry points that are not called here.
CFactoryTemplate g_Templates[] = {{}};
int g_cTemplates = 0;

namespace zarnow::test {

namespace {

class Factory : public FrameworkTest
{
protected:
    void use(LPFNNewCOMObject create) { creator_ = {L"", &CLSID_NULL, create, nullptr, nullptr}; }
    static CUnknown* CALLBACK createSource(LPUNKNOWN outer, HRESULT*) { return new TestSource({}, 1, outer); }

private:
    CFactoryTemplate creator_{L"", &CLSID_NULL, createSource, nullptr, nullptr};

protected:
    const ComPtr<IClassFactory> factory{new CClassFactory(&creator_)};
};

TEST_F(Factory, FailuresLeaveNothing)
{
    void* out = &out;
    EXPECT_HRESULT(E_NOINTERFACE, factory->CreateInstance(nullptr, IID_IDispatch, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_HRESULT(E_POINTER, factory->CreateInstance(nullptr, IID_IBaseFilter, nullptr));
    use([](LPUNKNOWN outer, HRESULT* result) {
        *result = E_ACCESSDENIED;
        return createSource(outer, result);
    });
    EXPECT_HRESULT(E_ACCESSDENIED, factory->CreateInstance(nullptr, IID_IBaseFilter, &out));
    use([](LPUNKNOWN, HRESULT*) -> CUnknown* { throw std::bad_alloc(); });
    EXPECT_HRESULT(E_OUTOFMEMORY, factory->CreateInstance(nullptr, IID_IBaseFilter, &out));
}

/// An outer object that holds an inner one and shows its interfaces.
struct Outer : CUnknown
{
    Outer() : CUnknown(nullptr, nullptr) { NonDelegatingAddRef(); }
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override
    {
        return riid == IID_IUnknown ? CUnknown::NonDelegatingQueryInterface(riid, ppv)
                                    : inner->QueryInterface(riid, ppv);
    }
    ComPtr<IUnknown> inner;
};

TEST_F(Factory, AggregatesAreAskedForByIUnknownAndHaveTheOuterIdentity)
{
    Outer outer;
    IUnknown* const controlling = outer.GetOwner();
    void* out = &out;
    EXPECT_HRESULT(E_NOINTERFACE, factory->CreateInstance(controlling, IID_IBaseFilter, &out));
    EXPECT_EQ(nullptr, out);
    ASSERT_HRESULT(S_OK, factory->CreateInstance(controlling, IID_IUnknown, outer.inner.putVoid()));
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

TEST_F(Factory, AnUnlockTooManyIsForgotten)
{
    factory->LockServer(FALSE);
    EXPECT_FALSE(CClassFactory::IsLocked()) << "it does not keep the module for good";
    factory->LockServer(TRUE);
    EXPECT_TRUE(CClassFactory::IsLocked()) << "nor does it take the next lock";
    factory->LockServer(FALSE);
}

}  // namespace

}  // namespace zarnow::test
