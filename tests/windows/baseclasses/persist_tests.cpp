// Persistence in a stream, and the dispatch helper.

#include "support.h"

#include <cwchar>

namespace {

/// An object that keeps one 32-bit value.
class Kept : public CUnknown, public CPersistStream
{
public:
    DECLARE_IUNKNOWN
    Kept() : CUnknown(nullptr, nullptr), CPersistStream(nullptr, nullptr) { NonDelegatingAddRef(); }

    STDMETHODIMP GetClassID(CLSID*) override { return E_NOTIMPL; }
    int SizeMax() override { return 8; }
    HRESULT WriteToStream(IStream* stream) override
    {
        return FAILED(m_writing) ? m_writing : stream->Write(&m_value, sizeof m_value, nullptr);
    }
    HRESULT ReadFromStream(IStream* stream) override
    {
        m_readVersion = mPS_dwFileVersion;
        return stream->Read(&m_value, sizeof m_value, nullptr);
    }
    DWORD GetSoftwareVersion() override { return m_version; }

    DWORD m_value = 0;
    DWORD m_version = 0;
    DWORD m_readVersion = 0xFFFF;
    HRESULT m_writing = S_OK;
};

ComPtr<IStream> newStream(const void* data = nullptr, ULONG size = 0)
{
    ComPtr<IStream> stream;
    CreateStreamOnHGlobal(nullptr, TRUE, stream.put());
    stream->Write(data, size, nullptr);
    stream->Seek({}, STREAM_SEEK_SET, nullptr);
    return stream;
}

class Persistence : public FrameworkTest
{
};

TEST_F(Persistence, TheVersionStandsAheadOfTheDataAsText)
{
    struct
    {
        DWORD version;
        const wchar_t* text;
    } const cases[] = {{0, L"00000000000 "}, {122, L"00000000122 "}, {0xFFFFFFFF, L"-0000000001 "}};
    for (const auto& test : cases) {
        Kept kept;
        kept.m_version = test.version;
        kept.m_value = 0x01020304;
        const auto stream = newStream();
        ASSERT_HRESULT(S_OK, kept.Save(stream.get(), FALSE));
        ULARGE_INTEGER size{};
        stream->Seek({}, STREAM_SEEK_CUR, &size);
        EXPECT_EQ(28u, size.QuadPart) << "24 bytes of text and 4 of data";
        stream->Seek({}, STREAM_SEEK_SET, nullptr);
        wchar_t text[13] = {};
        stream->Read(text, 24, nullptr);
        EXPECT_STREQ(test.text, text);
        stream->Seek({}, STREAM_SEEK_SET, nullptr);
        Kept other;
        ASSERT_HRESULT(S_OK, other.Load(stream.get()));
        EXPECT_EQ(test.version, other.m_readVersion);
        EXPECT_EQ(0x01020304u, other.m_value);
    }
}

TEST_F(Persistence, SizeIsTheVersionsAndTheDatas)
{
    Kept kept;
    ULARGE_INTEGER size{};
    EXPECT_HRESULT(S_OK, kept.GetSizeMax(&size));
    EXPECT_EQ(32u, size.QuadPart);
    EXPECT_HRESULT(E_POINTER, kept.GetSizeMax(nullptr));
}

TEST_F(Persistence, DirtyUntilSavedWithClearOrLoaded)
{
    Kept kept;
    EXPECT_HRESULT(S_FALSE, kept.IsDirty());
    kept.SetDirty(TRUE);
    EXPECT_HRESULT(S_OK, kept.IsDirty());
    const auto stream = newStream();
    kept.Save(stream.get(), FALSE);
    EXPECT_HRESULT(S_OK, kept.IsDirty());
    kept.m_writing = STG_E_MEDIUMFULL;
    EXPECT_HRESULT(STG_E_MEDIUMFULL, kept.Save(stream.get(), TRUE));
    EXPECT_HRESULT(S_OK, kept.IsDirty()) << "nothing was saved";
    kept.m_writing = S_OK;
    kept.Save(stream.get(), TRUE);
    EXPECT_HRESULT(S_FALSE, kept.IsDirty());
    kept.SetDirty(TRUE);
    stream->Seek({}, STREAM_SEEK_SET, nullptr);
    EXPECT_HRESULT(S_OK, kept.Load(stream.get()));
    EXPECT_HRESULT(S_FALSE, kept.IsDirty());
}

TEST_F(Persistence, StreamsThatHoldNoVersionAreRefused)
{
    for (const wchar_t* text : {L"", L"0000000", L"no number   ", L"            ", L"000000 00000", L"00000000000x0"}) {
        Kept kept;
        const auto stream = newStream(text, static_cast<ULONG>(std::wcslen(text) * sizeof(wchar_t)));
        const HRESULT hr = kept.Load(stream.get());
        if (std::wcslen(text) > 12)
            EXPECT_HRESULT(S_OK, hr) << "any one character ends the number";
        else
            EXPECT_HRESULT(E_FAIL, hr);
    }
    Kept kept;
    EXPECT_HRESULT(E_POINTER, kept.Load(nullptr));
    EXPECT_HRESULT(E_POINTER, kept.Save(nullptr, TRUE));
}

/// IMediaPosition with nothing but a rate.
class Position : public CUnknown, public IMediaPosition
{
public:
    DECLARE_IUNKNOWN
    Position() : CUnknown(nullptr, nullptr) { NonDelegatingAddRef(); }

    STDMETHODIMP GetTypeInfoCount(UINT* count) override { return m_dispatch.GetTypeInfoCount(count); }
    STDMETHODIMP GetTypeInfo(UINT index, LCID lcid, ITypeInfo** info) override
    {
        return m_dispatch.GetTypeInfo(IID_IMediaPosition, index, lcid, info);
    }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID lcid, DISPID* ids) override
    {
        return m_dispatch.GetIDsOfNames(IID_IMediaPosition, names, count, lcid, ids);
    }
    STDMETHODIMP Invoke(DISPID id, REFIID, LCID lcid, WORD flags, DISPPARAMS* params, VARIANT* result,
                        EXCEPINFO* exception, UINT* argument) override
    {
        ComPtr<ITypeInfo> info;
        const HRESULT hr = GetTypeInfo(0, lcid, info.put());
        return FAILED(hr)
                   ? hr
                   : info->Invoke(static_cast<IMediaPosition*>(this), id, flags, params, result, exception, argument);
    }

    STDMETHODIMP get_Duration(REFTIME*) override { return E_NOTIMPL; }
    STDMETHODIMP put_CurrentPosition(REFTIME) override { return E_NOTIMPL; }
    STDMETHODIMP get_CurrentPosition(REFTIME*) override { return E_NOTIMPL; }
    STDMETHODIMP get_StopTime(REFTIME*) override { return E_NOTIMPL; }
    STDMETHODIMP put_StopTime(REFTIME) override { return E_NOTIMPL; }
    STDMETHODIMP get_PrerollTime(REFTIME*) override { return E_NOTIMPL; }
    STDMETHODIMP put_PrerollTime(REFTIME) override { return E_NOTIMPL; }
    STDMETHODIMP put_Rate(double rate) override
    {
        m_rate = rate;
        return S_OK;
    }
    STDMETHODIMP get_Rate(double* rate) override
    {
        *rate = m_rate;
        return S_OK;
    }
    STDMETHODIMP CanSeekForward(LONG*) override { return E_NOTIMPL; }
    STDMETHODIMP CanSeekBackward(LONG*) override { return E_NOTIMPL; }

    double m_rate = 1.0;

private:
    CBaseDispatch m_dispatch;
};

TEST_F(Persistence, DispatchReachesTheMethodsByName)
{
    Position position;
    wchar_t name[] = L"Rate";
    LPOLESTR names[] = {name};
    DISPID id = 0;
    ASSERT_HRESULT(S_OK, position.GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id));
    VARIANT rate{};
    rate.vt = VT_R8;
    rate.dblVal = 2.5;
    DISPID put = DISPID_PROPERTYPUT;
    DISPPARAMS params{&rate, &put, 1, 1};
    EXPECT_HRESULT(S_OK, position.Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT, &params, nullptr,
                                         nullptr, nullptr));
    EXPECT_EQ(2.5, position.m_rate);
    VARIANT result{};
    DISPPARAMS none{};
    EXPECT_HRESULT(S_OK, position.Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &result,
                                         nullptr, nullptr));
    EXPECT_EQ(VT_R8, result.vt);
    EXPECT_EQ(2.5, result.dblVal);
}

TEST_F(Persistence, DispatchChecksItsArguments)
{
    Position position;
    UINT count = 0;
    EXPECT_HRESULT(S_OK, position.GetTypeInfoCount(&count));
    EXPECT_EQ(1u, count);
    EXPECT_HRESULT(E_POINTER, position.GetTypeInfoCount(nullptr));
    ComPtr<ITypeInfo> info;
    EXPECT_HRESULT(TYPE_E_ELEMENTNOTFOUND, position.GetTypeInfo(1, LOCALE_USER_DEFAULT, info.put()));
    EXPECT_HRESULT(E_POINTER, position.GetTypeInfo(0, LOCALE_USER_DEFAULT, nullptr));
    ASSERT_HRESULT(S_OK, position.GetTypeInfo(0, LOCALE_USER_DEFAULT, info.put()));
    TYPEATTR* attributes = nullptr;
    ASSERT_HRESULT(S_OK, info->GetTypeAttr(&attributes));
    EXPECT_EQ(IID_IMediaPosition, attributes->guid);
    info->ReleaseTypeAttr(attributes);
    wchar_t name[] = L"NoSuchMember";
    LPOLESTR names[] = {name};
    DISPID id = 0;
    EXPECT_HRESULT(DISP_E_UNKNOWNNAME, position.GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id));
}

}  // namespace
