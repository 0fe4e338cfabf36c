// Load, what the pin then offers, and how it connects.

#include <limits>

#include "tests/windows/support/filter_fixture.h"

namespace zarnow::test {

namespace {

/// How many media types the pin offers.
int typesOffered(IPin* pin, ULONG sampleSize = 33'000)
{
    ComPtr<IEnumMediaTypes> types;
    EXPECT_HRESULT(S_OK, pin->EnumMediaTypes(&types));
    int count = 0;
    for (AM_MEDIA_TYPE* type = nullptr; types->Next(1, &type, nullptr) == S_OK; ++count) {
        EXPECT_TRUE(type->majortype == MEDIATYPE_Stream && type->subtype == MEDIASUBTYPE_MPEG2_TRANSPORT);
        EXPECT_EQ(GUID_NULL, type->formattype);
        EXPECT_TRUE(type->bFixedSizeSamples && type->bTemporalCompression);
        EXPECT_EQ(sampleSize, type->lSampleSize);
        DeleteMediaType(type);
    }
    return count;
}

}  // namespace

TEST_F(FilterTest, LoadReportsWhatHappened)
{
    const TemporaryFile empty;
    const TemporaryFile text(filled(50'000, 'x'));
    const std::wstring longName(300, L'a');
    const struct
    {
        const char* fault;
        std::wstring path;
        HRESULT expected;
        std::wstring currentFile;
        int types;
    } cases[] = {
        {"no name and no open file passes", L"", E_FAIL, L"", 0},
        {"a name too long is reported, or kept", longName, E_FAIL, L"", 0},
        {"a missing file's code is lost", L"tests/data/none.ts", HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), L"", 0},
        {"a directory is opened", L"tests/data", HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED), L"", 0},
        {"a stream is not offered", kMpeg2Sample, S_OK, kMpeg2Sample, 1},
        {"a name too long closes the open file", longName, S_OK, L"", 1},
        {"a text passes for a stream", text.path().wstring(), S_OK, text.path().wstring(), 0},
        {"an empty file is loaded", empty.path().wstring(), E_FAIL, L"", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        EXPECT_HRESULT(c.expected, load(c.path));
        EXPECT_EQ(c.currentFile, currentFile());
        EXPECT_EQ(c.types, typesOffered(pin.Get()));
    }
}

TEST_F(FilterTest, AnUnanalysedFileConnectsOnlyToWhoProposesTheType)
{
    SinkFilter sink;
    EXPECT_HRESULT(VFW_E_NO_ACCEPTABLE_TYPES, connect(sink));
    sink.proposes = {mediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_PROGRAM)};
    EXPECT_HRESULT(VFW_E_NO_ACCEPTABLE_TYPES, connect(sink));
    sink.proposes = {transportStreamType()};
    EXPECT_HRESULT(S_OK, connect(sink));
    EXPECT_HRESULT(S_OK, filter->Pause());
    ASSERT_EQ(1U, sink.segments.size());
    EXPECT_EQ(std::numeric_limits<REFERENCE_TIME>::min(), sink.segments[0].stop) << "of a duration that does not fit";
    filter->Stop();
    disconnect(sink);
}

TEST_F(FilterTest, AllocatorIsNegotiatedWithTheBufferSize)
{
    ASSERT_HRESULT(S_OK, load(kMpeg2Sample));
    TestAllocator mean;
    TestAllocator fair;
    mean.mostBytes = 188;
    const std::pair<DWORD, TestAllocator*> cases[] = {{0, nullptr}, {33'000, &mean}, {40'000, &fair}};
    for (const auto& [wanted, offered] : cases) {
        SCOPED_TRACE(wanted);
        DWORD size = 7;
        EXPECT_HRESULT(S_OK, tarnwell->SetBufferSize(wanted));
        EXPECT_HRESULT(S_OK, tarnwell->GetBufferSize(&size));
        EXPECT_EQ(wanted, size);
        EXPECT_EQ(1, typesOffered(pin.Get(), wanted));
        SinkFilter sink;
        sink.offeredAllocator = offered;
        ASSERT_HRESULT(S_OK, connect(sink));
        EXPECT_EQ(offered == &fair, sink.input.allocator() == &fair) << "one that grants too little is passed over";
        EXPECT_EQ(4, sink.agreed.cBuffers);
        EXPECT_LE(static_cast<LONG>(wanted), sink.agreed.cbBuffer);
        EXPECT_EQ(16, sink.agreed.cbAlign);
        EXPECT_HRESULT(wanted == 0 ? VFW_E_SIZENOTSET : S_OK, filter->Pause());
        EXPECT_HRESULT(wanted == 0 ? S_OK : VFW_E_NOT_STOPPED, tarnwell->SetBufferSize(wanted));
        ASSERT_HRESULT(S_OK, filter->Stop());
        disconnect(sink);
    }
}

}  // namespace zarnow::test
