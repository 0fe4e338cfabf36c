// Persistence in a stream. The version ahead of the data is also looked at through the filter.

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
    HRESULT WriteToStream(IStream*) override { return writing; }
    HRESULT ReadFromStream(IStream*) override { return reading; }
    DWORD GetSoftwareVersion() override { return version; }
    DWORD fileVersion() const { return mPS_dwFileVersion; }

    DWORD version = 0;
    HRESULT writing = S_OK;
    HRESULT reading = S_OK;
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
    object.writing = STG_E_MEDIUMFULL;
    EXPECT_HRESULT(STG_E_MEDIUMFULL, object.Save(stream.get(), TRUE));
    EXPECT_HRESULT(S_OK, object.IsDirty()) << "nothing was saved";
    object.writing = S_OK;
    EXPECT_HRESULT(S_OK, object.Save(stream.get(), FALSE));
    EXPECT_HRESULT(S_OK, object.IsDirty()) << "a copy was saved";
    object.reading = E_FAIL;
    EXPECT_HRESULT(E_FAIL, load());
    EXPECT_HRESULT(S_OK, object.IsDirty()) << "nothing was loaded";
    object.reading = S_OK;
    EXPECT_HRESULT(S_OK, load());
    EXPECT_HRESULT(S_FALSE, object.IsDirty());
    EXPECT_HRESULT(E_POINTER, object.Load(nullptr));
    EXPECT_HRESULT(E_POINTER, object.Save(nullptr, TRUE));
}

TEST_F(Persistence, VersionsComeBackAndWhatIsNoneIsRefused)
{
    for (const DWORD version : {0U, 122U, 0xFFFFFFFFU}) {
        stream->Seek({}, STREAM_SEEK_SET, nullptr);
        object.version = version;
        ASSERT_HRESULT(S_OK, object.Save(stream.get(), FALSE));
        ULARGE_INTEGER size{};
        stream->Seek({}, STREAM_SEEK_CUR, &size);
        EXPECT_EQ(24u, size.QuadPart);
        EXPECT_HRESULT(S_OK, load());
        EXPECT_EQ(version, object.fileVersion());
    }
    const struct
    {
        const wchar_t* text;
        HRESULT expected;
    } cases[] = {{L"", E_FAIL},
                 {L"0000000", E_FAIL},
                 {L"no number   ", E_FAIL},
                 {L"            ", E_FAIL},
                 {L"000000 00000", E_FAIL},
                 {L"00000000000x0", S_OK}};  // any one character ends the number
    for (const auto& c : cases) {
        stream->SetSize({});
        stream->Seek({}, STREAM_SEEK_SET, nullptr);
        stream->Write(c.text, static_cast<ULONG>(std::wcslen(c.text) * sizeof(wchar_t)), nullptr);
        EXPECT_HRESULT(c.expected, load()) << c.text;
    }
}

}  // namespace

}  // namespace zarnow::test
