// Persistence in a stream, in what the filter itself does not show.

#include <cwchar>

#include "com_ptr.h"
#include "tests/windows/support/framework_test.h"
#include "tests/windows/support/hresult.h"

namespace zarnow::test {

namespace {

/// An object that has nothing but a version.
class Versioned : public CUnknown, public CPersistStream
{
public:
    DECLARE_IUNKNOWN
    Versioned() : CUnknown(nullptr, nullptr), CPersistStream(nullptr, nullptr) { NonDelegatingAddRef(); }

    STDMETHODIMP GetClassID(CLSID*) override { return E_NOTIMPL; }
    HRESULT WriteToStream(IStream*) override { return result; }
    HRESULT ReadFromStream(IStream*) override { return result; }
    DWORD GetSoftwareVersion() override { return 0xFFFFFFFF; }
    DWORD fileVersion() const { return mPS_dwFileVersion; }

    HRESULT result = S_OK;
};

class Persistence : public FrameworkTest
{
protected:
    Persistence() { CreateStreamOnHGlobal(nullptr, TRUE, stream.put()); }
    HRESULT load()
    {
        stream->Seek({}, STREAM_SEEK_SET, nullptr);
        return object.Load(stream.get());
    }

    ComPtr<IStream> stream;
    Versioned object;
};

TEST_F(Persistence, OnlyWhatWasSavedOrLoadedWholeIsNoLongerDirty)
{
    object.SetDirty(TRUE);
    EXPECT_HRESULT(S_OK, object.Save(stream.get(), FALSE)) << "a copy";
    EXPECT_HRESULT(S_OK, object.IsDirty());
    object.result = STG_E_MEDIUMFULL;
    EXPECT_HRESULT(STG_E_MEDIUMFULL, object.Save(stream.get(), TRUE));
    EXPECT_HRESULT(S_OK, object.IsDirty()) << "nothing was saved";
    EXPECT_HRESULT(STG_E_MEDIUMFULL, load());
    EXPECT_HRESULT(S_OK, object.IsDirty()) << "nothing was loaded";
    object.result = S_OK;
    EXPECT_HRESULT(S_OK, load());
    EXPECT_HRESULT(S_FALSE, object.IsDirty());
    EXPECT_EQ(0xFFFFFFFF, object.fileVersion());
    EXPECT_HRESULT(E_POINTER, object.Load(nullptr));
    EXPECT_HRESULT(E_POINTER, object.Save(nullptr, TRUE));
}

TEST_F(Persistence, WhatIsNoVersionIsRefused)
{
    for (const wchar_t* text : {L"", L"0000000", L"no number   ", L"            ", L"000000 00000"}) {
        stream->SetSize({});
        stream->Seek({}, STREAM_SEEK_SET, nullptr);
        stream->Write(text, static_cast<ULONG>(std::wcslen(text) * sizeof(wchar_t)), nullptr);
        EXPECT_HRESULT(E_FAIL, load()) << text;
    }
}

}  // namespace

}  // namespace zarnow::test
