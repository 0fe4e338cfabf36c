// Media types: ownership and comparison. Matching is a matter of connections.

#include <cstring>

#include "com_ptr.h"
#include "tests/windows/support/framework_test.h"
#include "tests/windows/support/hresult.h"

namespace zarnow::test {

namespace {

class MediaType : public FrameworkTest
{
protected:
    MediaType()
    {
        CreateMemoryAllocator(unknown.put());
        full.SetFormatType(&FORMAT_VideoInfo);
        std::memcpy(full.AllocFormatBuffer(5), "12345", 5);
        full.SetTemporalCompression(TRUE);
        full.pUnk = ComPtr(unknown).detach();
    }

    ComPtr<IMemAllocator> unknown;  // any object
    /// With every kind of content.
    CMediaType full = mediaType(MEDIATYPE_Video, MEDIASUBTYPE_RGB24, 4711);
};

TEST_F(MediaType, EveryCopyOwnsItsFormatAndReference)
{
    {
        CMediaType copies[4] = {full, CMediaType(static_cast<const AM_MEDIA_TYPE&>(full)), {}, {}};
        copies[2] = full;
        AM_MEDIA_TYPE* const heap = CreateMediaType(&full);
        copies[3] = *heap;
        DeleteMediaType(heap);
        copies[1] = *&copies[1];  // an assignment to itself
        copies[2].Set(copies[2]);
        for (const CMediaType& copy : copies) {
            EXPECT_TRUE(copy == full);
            EXPECT_NE(copy.pbFormat, full.pbFormat);
            EXPECT_EQ(4711u, copy.lSampleSize);
            EXPECT_TRUE(copy.bTemporalCompression);
        }
        EXPECT_EQ(6u, references(unknown.get()));
    }
    EXPECT_EQ(2u, references(unknown.get()));
    DeleteMediaType(nullptr);

    AM_MEDIA_TYPE broken{};
    broken.cbFormat = 100;
    EXPECT_EQ(0u, CMediaType(broken).cbFormat) << "a length without a block is no format";
}

TEST_F(MediaType, EqualityIsTheGuidsAndTheFormat)
{
    const struct
    {
        bool equal;
        void (*change)(CMediaType&);
    } cases[] = {
        {true, [](CMediaType& t) { t.SetVariableSize(); }},
        {true, [](CMediaType& t) { t.SetTemporalCompression(FALSE); }},
        {false, [](CMediaType& t) { t.SetType(&MEDIATYPE_Audio); }},
        {false, [](CMediaType& t) { t.SetSubtype(&MEDIASUBTYPE_RGB32); }},
        {false, [](CMediaType& t) { t.SetFormatType(&FORMAT_VideoInfo2); }},
        {false, [](CMediaType& t) { t.pbFormat[4] ^= 1; }},
        {false, [](CMediaType& t) { std::memcpy(t.AllocFormatBuffer(4), "1234", 4); }},
        {false, [](CMediaType& t) { t.ResetFormatBuffer(); }},
    };
    for (const auto& c : cases) {
        CMediaType other = full;
        c.change(other);
        EXPECT_EQ(c.equal, (full == other) != FALSE) << "case " << &c - cases;
        EXPECT_EQ(!c.equal, (full != other) != FALSE) << "case " << &c - cases;
    }
}

}  // namespace

}  // namespace zarnow::test
