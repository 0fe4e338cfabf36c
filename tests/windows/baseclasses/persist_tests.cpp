// Persistence in a stream.

#include <cwchar>

#include "com_ptr.h"
#include "tests/windows/support/framework_test.h"
#include "tests/windows/support/hresult.h"

namespace zarnow::test {

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

TEST_F(Persistence, DirtyUntilSavedWithClearOrLoaded)
{
    Kept kept;
    ULARGE_INTEGER size{};
    EXPECT_HRESULT(S_OK, kept.GetSizeMax(&size));
    EXPECT_EQ(32u, size.QuadPart) << "the version's and the data's";
    EXPECT_HRESULT(E_POINTER, kept.GetSizeMax(nullptr));
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
    struct
    {
        const wchar_t* text;
        HRESULT expected;
    } const cases[] = {{L"", E_FAIL},
                       {L"0000000", E_FAIL},
                       {L"no number   ", E_FAIL},
                       {L"            ", E_FAIL},
                       {L"000000 00000", E_FAIL},
                       {L"00000000000x0", S_OK}};  // any one character ends the number
    for (const auto& test : cases) {
        Kept kept;
        const auto stream = newStream(test.text, static_cast<ULONG>(std::wcslen(test.text) * sizeof(wchar_t)));
        EXPECT_HRESULT(test.expected, kept.Load(stream.get())) << test.text;
    }
    Kept kept;
    EXPECT_HRESULT(E_POINTER, kept.Load(nullptr));
    EXPECT_HRESULT(E_POINTER, kept.Save(nullptr, TRUE));
}

}  // namespace

}  // namespace zarnow::test
