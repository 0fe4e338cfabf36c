// The filter as a COM object: identity, pins, pages.

#include "tests/windows/support/filter_fixture.h"

namespace zarnow::test {

TEST_F(FilterTest, TheFiltersInterfacesArePassedOnToThePin)
{
    for (const IID& iid : {IID_ITarnwell, IID_IFileSourceFilter, IID_IMediaPosition})
        EXPECT_EQ(query<IUnknown>(filter.Get(), iid).Get(), query<IUnknown>(pin.Get(), iid).Get());
    const ComPtr<IUnknown> identity = query<IUnknown>(filter.Get());
    for (const IID& iid : {IID_IPersistStream, IID_ISpecifyPropertyPages, IID_IMediaFilter, IID_IAMovieSetup})
        EXPECT_EQ(identity.Get(), query<IUnknown>(query<IUnknown>(filter.Get(), iid).Get(), IID_IUnknown).Get());
    ComPtr<IUnknown> none;
    EXPECT_HRESULT(E_NOINTERFACE, filter->QueryInterface(IID_IMediaSeeking, &none));
}

TEST_F(FilterTest, HasOneOutputPinAndOnePropertyPage)
{
    PIN_INFO info = {};
    ASSERT_HRESULT(S_OK, pin->QueryPinInfo(&info));
    EXPECT_STREQ(L"TS Out", info.achName);
    EXPECT_EQ(PINDIR_OUTPUT, info.dir);
    EXPECT_EQ(filter.Get(), info.pFilter);
    info.pFilter->Release();

    ComPtr<IEnumPins> pins;
    ASSERT_HRESULT(S_OK, filter->EnumPins(&pins));
    EXPECT_HRESULT(S_OK, pins->Skip(1));
    EXPECT_HRESULT(S_FALSE, pins->Skip(1));

    CLSID clsid = {};
    EXPECT_HRESULT(S_OK, filter->GetClassID(&clsid));
    EXPECT_EQ(CLSID_ZarnowTSSource, clsid);

    CAUUID pages = {};
    ASSERT_HRESULT(S_OK, query<ISpecifyPropertyPages>(filter.Get())->GetPages(&pages));
    ASSERT_EQ(1U, pages.cElems);
    EXPECT_EQ(CLSID_ZarnowTSProperties, pages.pElems[0]);
    CoTaskMemFree(pages.pElems);
}

}  // namespace zarnow::test
