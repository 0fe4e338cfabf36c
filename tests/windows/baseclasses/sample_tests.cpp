// Properties of media samples.

#include <cstddef>

#include "com_ptr.h"
#include "tests/windows/support/framework_test.h"
#include "tests/windows/support/hresult.h"

namespace zarnow::test {

namespace {

class Sample : public FrameworkTest
{
protected:
    Sample()
    {
        CreateMemoryAllocator(allocator_.put());
        ALLOCATOR_PROPERTIES request{1, 100, 1, 0};
        allocator_->SetProperties(&request, &request);
        allocator_->Commit();
        allocator_->GetBuffer(sample.put(), nullptr, nullptr, 0);
        sample2 = sample.query<IMediaSample2>(IID_IMediaSample2);
    }
    ~Sample() override { allocator_->Decommit(); }

    AM_SAMPLE2_PROPERTIES properties()
    {
        AM_SAMPLE2_PROPERTIES props{};
        EXPECT_HRESULT(S_OK, sample2->GetProperties(sizeof props, reinterpret_cast<BYTE*>(&props)));
        EXPECT_EQ(sizeof props, props.cbData);
        return props;
    }
    HRESULT set(const AM_SAMPLE2_PROPERTIES& props, std::size_t size = sizeof(AM_SAMPLE2_PROPERTIES))
    {
        return sample2->SetProperties(static_cast<DWORD>(size), reinterpret_cast<const BYTE*>(&props));
    }

private:
    ComPtr<IMemAllocator> allocator_;

protected:
    ComPtr<IMediaSample> sample;
    ComPtr<IMediaSample2> sample2;
};

TEST_F(Sample, TimesAreSetWholeHalfOrNotAtAll)
{
    REFERENCE_TIME start = 5;
    REFERENCE_TIME stop = 9;
    EXPECT_HRESULT(VFW_E_SAMPLE_TIME_NOT_SET, sample->GetTime(&start, &stop));
    EXPECT_HRESULT(S_OK, sample->SetTime(&start, &stop));
    start = stop = 0;
    EXPECT_HRESULT(S_OK, sample->GetTime(&start, &stop));
    EXPECT_EQ(5, start);
    EXPECT_EQ(9, stop);
    EXPECT_HRESULT(S_OK, sample->SetTime(&start, nullptr));
    EXPECT_HRESULT(VFW_S_NO_STOP_TIME, sample->GetTime(&start, &stop));
    EXPECT_EQ(6, stop);
    EXPECT_HRESULT(S_OK, sample->SetTime(nullptr, nullptr));
    EXPECT_HRESULT(VFW_E_SAMPLE_TIME_NOT_SET, sample->GetTime(&start, &stop));
    EXPECT_HRESULT(E_POINTER, sample->GetTime(nullptr, &stop));

    const LONGLONG begin = 1LL << 40;
    LONGLONG mediaStart = begin;
    LONGLONG mediaStop = begin + (1LL << 35);  // spans of any length
    EXPECT_HRESULT(VFW_E_MEDIA_TIME_NOT_SET, sample->GetMediaTime(&mediaStart, &mediaStop));
    EXPECT_HRESULT(E_POINTER, sample->SetMediaTime(&mediaStart, nullptr));
    EXPECT_HRESULT(S_OK, sample->SetMediaTime(&mediaStart, &mediaStop));
    mediaStart = mediaStop = 0;
    EXPECT_HRESULT(S_OK, sample->GetMediaTime(&mediaStart, &mediaStop));
    EXPECT_EQ(begin, mediaStart);
    EXPECT_EQ(begin + (1LL << 35), mediaStop);
    EXPECT_EQ(0u, properties().dwSampleFlags) << "a flag of our own is not shown";
    EXPECT_HRESULT(S_OK, sample->SetMediaTime(nullptr, nullptr));
    EXPECT_HRESULT(VFW_E_MEDIA_TIME_NOT_SET, sample->GetMediaTime(&mediaStart, &mediaStop));
}

TEST_F(Sample, PropertiesShowWhatIsSet)
{
    REFERENCE_TIME start = 5;
    REFERENCE_TIME stop = 9;
    const CMediaType type(&MEDIATYPE_Stream);
    sample->SetTime(&start, &stop);
    sample->SetSyncPoint(TRUE);
    sample->SetPreroll(TRUE);
    sample->SetDiscontinuity(TRUE);
    sample->SetMediaType(const_cast<CMediaType*>(&type));
    EXPECT_HRESULT(S_OK, sample->SetActualDataLength(100));
    EXPECT_HRESULT(VFW_E_BUFFER_OVERFLOW, sample->SetActualDataLength(101));
    EXPECT_HRESULT(VFW_E_BUFFER_OVERFLOW, sample->SetActualDataLength(-1));
    const AM_SAMPLE2_PROPERTIES props = properties();
    EXPECT_EQ(static_cast<DWORD>(AM_SAMPLE_SPLICEPOINT | AM_SAMPLE_PREROLL | AM_SAMPLE_DATADISCONTINUITY |
                                 AM_SAMPLE_TYPECHANGED | AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID),
              props.dwSampleFlags);
    EXPECT_EQ(100, props.lActual);
    EXPECT_EQ(9, props.tStop);
    EXPECT_EQ(100, props.cbBuffer);
    ASSERT_NE(nullptr, props.pMediaType);
    EXPECT_EQ(MEDIATYPE_Stream, props.pMediaType->majortype);
    sample->SetPreroll(FALSE);
    EXPECT_HRESULT(S_FALSE, sample->IsPreroll());
}

TEST_F(Sample, PropertiesRoundTrip)
{
    CMediaType type(&MEDIATYPE_Video);
    AM_SAMPLE2_PROPERTIES props = properties();
    props.dwSampleFlags = AM_SAMPLE_SPLICEPOINT | AM_SAMPLE_TIMEVALID | AM_SAMPLE_TYPECHANGED | 0x8000;
    props.tStart = 77;
    props.lActual = 12;
    props.pMediaType = &type;
    props.dwStreamId = AM_STREAM_CONTROL;
    ASSERT_HRESULT(S_OK, set(props));
    EXPECT_HRESULT(S_OK, sample->IsSyncPoint());
    EXPECT_EQ(12, sample->GetActualDataLength());
    const AM_SAMPLE2_PROPERTIES again = properties();
    EXPECT_EQ(77, again.tStart);
    EXPECT_EQ(static_cast<DWORD>(AM_STREAM_CONTROL), again.dwStreamId);
    EXPECT_EQ(props.dwSampleFlags & ~0x8000u, again.dwSampleFlags) << "unknown flags are dropped";
    EXPECT_NE(&type, again.pMediaType);
    ASSERT_HRESULT(S_OK, set(again)) << "with the sample's own type";
    EXPECT_EQ(MEDIATYPE_Video, properties().pMediaType->majortype);
    props.dwSampleFlags = 0;
    ASSERT_HRESULT(S_OK, set(props));
    EXPECT_EQ(nullptr, properties().pMediaType) << "no longer a change of type";
}

TEST_F(Sample, OnlyTheFieldsThatAreThereCount)
{
    sample->SetActualDataLength(50);
    AM_SAMPLE2_PROPERTIES props{};
    props.dwSampleFlags = AM_SAMPLE_PREROLL;
    props.lActual = 1;
    ASSERT_HRESULT(S_OK, set(props, offsetof(AM_SAMPLE2_PROPERTIES, lActual) + 3));
    EXPECT_HRESULT(S_OK, sample->IsPreroll());
    EXPECT_EQ(50, sample->GetActualDataLength());
    BYTE guarded[16];
    std::fill(std::begin(guarded), std::end(guarded), BYTE{0xEE});
    ASSERT_HRESULT(S_OK, sample2->GetProperties(10, guarded));
    EXPECT_EQ(10u, guarded[0]);
    EXPECT_EQ(0xEE, guarded[10]) << "nothing past the size given";
    EXPECT_HRESULT(S_OK, sample2->GetProperties(0, nullptr));
    EXPECT_HRESULT(E_POINTER, sample2->GetProperties(8, nullptr));
    EXPECT_HRESULT(E_POINTER, sample2->SetProperties(8, nullptr));
}

TEST_F(Sample, ARefusedSetChangesNothing)
{
    static BYTE foreign[100];
    struct Case
    {
        const char* what;
        HRESULT expected;
        void (*change)(AM_SAMPLE2_PROPERTIES&);
    };
    const Case cases[] = {
        {"another buffer", E_INVALIDARG, [](AM_SAMPLE2_PROPERTIES& props) { props.pbBuffer = foreign; }},
        {"another size", E_INVALIDARG, [](AM_SAMPLE2_PROPERTIES& props) { props.cbBuffer = 1000; }},
        {"too long", VFW_E_BUFFER_OVERFLOW, [](AM_SAMPLE2_PROPERTIES& props) { props.lActual = 101; }},
        {"negative", VFW_E_BUFFER_OVERFLOW, [](AM_SAMPLE2_PROPERTIES& props) { props.lActual = -1; }},
        {"a change to no type", E_INVALIDARG,
         [](AM_SAMPLE2_PROPERTIES& props) { props.dwSampleFlags |= AM_SAMPLE_TYPECHANGED; }},
    };
    for (const Case& c : cases) {
        AM_SAMPLE2_PROPERTIES props = properties();
        props.dwSampleFlags = AM_SAMPLE_PREROLL;
        c.change(props);
        EXPECT_HRESULT(c.expected, set(props)) << c.what;
        EXPECT_HRESULT(S_FALSE, sample->IsPreroll()) << c.what;
    }
}

}  // namespace

}  // namespace zarnow::test
