// Media types: ownership and comparison. Matching is a matter of connections.

#include <cstring>
#include <functional>

#include "com_ptr.h"
#include "tests/windows/support/framework_test.h"
#include "tests/windows/support/hresult.h"

namespace zarnow::test {

namespace {

class MediaType : public FrameworkTest
{
protected:
    MediaType() { CreateMemoryAllocator(unknown.put()); }
    /// A type with every kind of content; counts its references on `unknown`.
    CMediaType full()
    {
        CMediaType type = mediaType(MEDIATYPE_Video, MEDIASUBTYPE_RGB24, 4711);
        type.SetFormatType(&FORMAT_VideoInfo);
        std::memcpy(type.AllocFormatBuffer(5), "12345", 5);
        type.SetTemporalCompression(TRUE);
        type.pUnk = unknown.get();
        type.pUnk->AddRef();
        return type;
    }

    ComPtr<IMemAllocator> unknown;  // any object
};

TEST_F(MediaType, EveryCopyOwnsItsFormatAndReference)
{
    {
        const CMediaType source = full();
        CMediaType copies[4] = {source, CMediaType(static_cast<const AM_MEDIA_TYPE&>(source)), {}, {}};
        copies[2] = source;
        AM_MEDIA_TYPE* const heap = CreateMediaType(&source);
        copies[3] = *heap;
        DeleteMediaType(heap);
        copies[1] = *&copies[1];  // an assignment to itself
        copies[2].Set(copies[2]);
        for (const CMediaType& copy : copies) {
            EXPECT_TRUE(copy == source);
            EXPECT_NE(copy.pbFormat, source.pbFormat);
            EXPECT_EQ(4711u, copy.lSampleSize);
            EXPECT_TRUE(copy.bTemporalCompression);
        }
        EXPECT_EQ(6u, references(unknown.get()));
    }
    EXPECT_EQ(1u, references(unknown.get()));
    DeleteMediaType(nullptr);

    AM_MEDIA_TYPE broken{};
    broken.cbFormat = 100;
    EXPECT_EQ(0u, CMediaType(broken).cbFormat) << "a length without a block is no format";
}

TEST_F(MediaType, EqualityIsTheGuidsAndTheFormat)
{
    const CMediaType base = full();
    const struct
    {
        const char* what;
        std::function<void(CMediaType&)> apply;
        bool equal;
    } changes[] = {
        {"nothing", [](CMediaType&) {}, true},
        {"sample size", [](CMediaType& t) { t.SetVariableSize(); }, true},
        {"temporal compression", [](CMediaType& t) { t.SetTemporalCompression(FALSE); }, true},
        {"major type", [](CMediaType& t) { t.SetType(&MEDIATYPE_Audio); }, false},
        {"subtype", [](CMediaType& t) { t.SetSubtype(&MEDIASUBTYPE_RGB32); }, false},
        {"format type", [](CMediaType& t) { t.SetFormatType(&FORMAT_VideoInfo2); }, false},
        {"a byte of the format", [](CMediaType& t) { t.pbFormat[4] ^= 1; }, false},
        {"the format's length", [](CMediaType& t) { std::memcpy(t.AllocFormatBuffer(4), "1234", 4); }, false},
        {"the format", [](CMediaType& t) { t.ResetFormatBuffer(); }, false},
    };
    for (const auto& change : changes) {
        CMediaType other = base;
        change.apply(other);
        EXPECT_EQ(change.equal, (base == other) != FALSE) << change.what;
        EXPECT_EQ(!change.equal, (base != other) != FALSE) << change.what;
    }
}

}  // namespace

}  // namespace zarnow::test
