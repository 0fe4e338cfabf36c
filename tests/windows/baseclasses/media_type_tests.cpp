// Media types: ownership and comparison; matching is a matter of connections. The enumerators of pins and of media
// types: one set of rules, checked on both.

#include <algorithm>
#include <cstring>

#include "pair.h"

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
        CMediaType copies[3] = {full, {}, {}};
        AM_MEDIA_TYPE* const heap = CreateMediaType(&full);
        copies[1] = *heap;
        DeleteMediaType(heap);
        copies[2] = full;
        copies[2].Set(copies[2]);
        for (const CMediaType& copy : copies) {
            EXPECT_TRUE(copy == full && copy.pbFormat != full.pbFormat);
            EXPECT_EQ(4711u, copy.lSampleSize);
            EXPECT_TRUE(copy.bTemporalCompression);
        }
        EXPECT_EQ(5u, references(unknown.get()));
    }
    EXPECT_EQ(2u, references(unknown.get()));
    DeleteMediaType(nullptr);

    AM_MEDIA_TYPE broken{};
    broken.cbFormat = 100;
    EXPECT_EQ(0u, CMediaType(broken).cbFormat) << "a length without a block is no format";
}

TEST_F(MediaType, EqualityIsTheGuidsAndTheFormat)
{
    void (*const changes[])(CMediaType&) = {
        [](CMediaType& type) { type.SetType(&MEDIATYPE_Audio); },
        [](CMediaType& type) { type.SetSubtype(&MEDIASUBTYPE_RGB32); },
        [](CMediaType& type) { type.SetFormatType(&FORMAT_VideoInfo2); },
        [](CMediaType& type) { type.pbFormat[4] ^= 1; },
        [](CMediaType& type) { std::memcpy(type.AllocFormatBuffer(6), "12345", 6); },
    };
    CMediaType same = full;
    same.SetVariableSize();
    EXPECT_TRUE(full == same);
    for (const auto& change : changes) {
        CMediaType other = full;
        change(other);
        EXPECT_TRUE(full != other) << "change " << &change - changes;
    }
}

/// Enumerates three items, each shown by its index.
template <class Enum, class Item>
void expectTheRules(const std::function<HRESULT(Enum**)>& open, const std::function<int(Item)>& take,
                    const std::function<void()>& change)
{
    ComPtr<Enum> items;
    ComPtr<Enum> clone;
    Item got[3] = {};
    const auto next = [&](ComPtr<Enum>& from, ULONG count, HRESULT expected) {
        ULONG fetched = 99;
        EXPECT_HRESULT(expected, from->Next(count, got, &fetched));
        std::string indices;
        std::for_each_n(got, std::min(fetched, count), [&](Item item) { indices += std::to_string(take(item)); });
        return indices;
    };
    ASSERT_HRESULT(S_OK, open(items.put()));
    EXPECT_HRESULT(E_INVALIDARG, items->Next(2, got, nullptr)) << "nobody would know how many there are";
    EXPECT_HRESULT(E_POINTER, items->Next(1, nullptr, nullptr));
    EXPECT_HRESULT(E_POINTER, items->Clone(nullptr));
    EXPECT_EQ("01", next(items, 2, S_OK));
    ASSERT_HRESULT(S_OK, items->Clone(clone.put()));
    EXPECT_EQ("2", next(clone, 2, S_FALSE)) << "it starts where the other one is";
    EXPECT_EQ("2", next(items, 1, S_OK)) << "and moves by itself";
    items->Reset();
    EXPECT_HRESULT(S_OK, items->Skip(0));
    EXPECT_HRESULT(S_OK, items->Skip(3));
    EXPECT_HRESULT(S_FALSE, items->Skip(0xFFFFFFFF));
    EXPECT_HRESULT(S_FALSE, items->Skip(0xFFFFFFFF));
    EXPECT_EQ("", next(items, 1, S_FALSE));
    change();
    EXPECT_EQ("", next(items, 1, VFW_E_ENUM_OUT_OF_SYNC));
    EXPECT_HRESULT(VFW_E_ENUM_OUT_OF_SYNC, items->Skip(1));
    EXPECT_HRESULT(VFW_E_ENUM_OUT_OF_SYNC, items->Clone(clone.put()));
    EXPECT_HRESULT(S_OK, items->Reset());
    EXPECT_EQ("012", next(items, 3, S_OK));
}

TEST_F(FrameworkTest, EnumeratorsKeepToTheRules)
{
    const auto type = [](ULONG size) { return mediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT, size); };
    Pair pair({.types = {type(100), type(101), type(102)}}, 3);
    TestStream& stream = pair.stream();
    const auto takePin = [&](IPin* pin) {
        pin->Release();
        return pair.filter->FindPinNumber(pin);
    };
    const auto takeType = [](AM_MEDIA_TYPE* taken) {
        const int size = static_cast<int>(taken->lSampleSize);
        DeleteMediaType(taken);
        return size - 100;
    };
    expectTheRules<IEnumPins, IPin*>([&](IEnumPins** out) { return pair.source->EnumPins(out); }, takePin,
                                     [&] { pair.filter->IncrementPinVersion(); });
    expectTheRules<IEnumMediaTypes, AM_MEDIA_TYPE*>([&](IEnumMediaTypes** out) { return stream.EnumMediaTypes(out); },
                                                    takeType, [&] { stream.IncrementTypeVersion(); });
    EXPECT_EQ(1u, references(pair.source.get()));
}

}  // namespace

}  // namespace zarnow::test
