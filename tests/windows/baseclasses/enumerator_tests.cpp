// Enumerators of pins and media types: one set of rules, checked on both.

#include <algorithm>

#include "pair.h"

namespace zarnow::test {

namespace {

const StreamPlan kThreeTypes{.types = {mediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT),
                                       mediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_PROGRAM),
                                       mediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG1System)}};

/// Makes both kinds look alike: three items, each shown by a name.
struct Pins
{
    using Enum = IEnumPins;
    using Item = IPin*;
    static HRESULT open(Pair& pair, Enum** out) { return pair.source->EnumPins(out); }
    static void change(Pair& pair) { pair.filter->IncrementPinVersion(); }
    static void free(Item item) { item->Release(); }
    static int index(Pair& pair, Item item) { return pair.filter->FindPinNumber(item); }
    static const IID& iid() { return IID_IEnumPins; }
};

struct Types
{
    using Enum = IEnumMediaTypes;
    using Item = AM_MEDIA_TYPE*;
    static HRESULT open(Pair& pair, Enum** out) { return pair.stream().EnumMediaTypes(out); }
    static void change(Pair& pair) { pair.stream().IncrementTypeVersion(); }
    static void free(Item item) { DeleteMediaType(item); }
    static int index(Pair& pair, Item item)
    {
        const auto& types = pair.stream().plan.types;
        return static_cast<int>(std::ranges::find(types, item->subtype, [](const CMediaType& t) { return t.subtype; }) -
                                types.begin());
    }
    static const IID& iid() { return IID_IEnumMediaTypes; }
};

template <typename Kind>
class Enumerator : public FrameworkTest
{
protected:
    using Enum = typename Kind::Enum;
    using Item = typename Kind::Item;

    ComPtr<Enum> open()
    {
        ComPtr<Enum> items;
        EXPECT_HRESULT(S_OK, Kind::open(pair, items.put()));
        return items;
    }

    /// Indices of the items that one Next gives.
    std::vector<int> next(Enum* items, ULONG count, HRESULT expected)
    {
        std::vector<Item> got(count, nullptr);
        ULONG fetched = 99;
        EXPECT_HRESULT(expected, items->Next(count, got.data(), &fetched));
        std::vector<int> indices;
        for (ULONG i = 0; i < fetched && i < count; ++i) {
            indices.push_back(Kind::index(pair, got[i]));
            Kind::free(got[i]);
        }
        return indices;
    }

    Pair pair{kThreeTypes, 3};
};

using Kinds = testing::Types<Pins, Types>;
TYPED_TEST_SUITE(Enumerator, Kinds);

using Indices = std::vector<int>;

TYPED_TEST(Enumerator, GivesAndSkipsItemsInOrder)
{
    const auto items = this->open();
    EXPECT_EQ((Indices{0, 1}), this->next(items.get(), 2, S_OK));
    EXPECT_EQ((Indices{2}), this->next(items.get(), 2, S_FALSE));
    EXPECT_EQ((Indices{}), this->next(items.get(), 1, S_FALSE));
    EXPECT_HRESULT(S_OK, items->Reset());
    EXPECT_EQ((Indices{0, 1, 2}), this->next(items.get(), 3, S_OK));
    items->Reset();
    EXPECT_HRESULT(S_OK, items->Skip(0));
    EXPECT_HRESULT(S_OK, items->Skip(2));
    EXPECT_EQ((Indices{2}), this->next(items.get(), 1, S_OK));
    items->Reset();
    EXPECT_HRESULT(S_OK, items->Skip(3));
    EXPECT_HRESULT(S_FALSE, items->Skip(0xFFFFFFFF));
    EXPECT_HRESULT(S_FALSE, items->Skip(0xFFFFFFFF));
    EXPECT_EQ((Indices{}), this->next(items.get(), 1, S_FALSE));
}

TYPED_TEST(Enumerator, WantsACountPointerForMoreThanOne)
{
    const auto items = this->open();
    typename TypeParam::Item got[2] = {};
    EXPECT_HRESULT(E_INVALIDARG, items->Next(2, got, nullptr));
    EXPECT_HRESULT(E_POINTER, items->Next(1, nullptr, nullptr));
    EXPECT_HRESULT(E_POINTER, items->Clone(nullptr));
    ASSERT_HRESULT(S_OK, items->Next(1, got, nullptr));
    EXPECT_EQ(0, TypeParam::index(this->pair, got[0])) << "the refused calls moved nothing";
    TypeParam::free(got[0]);
}

TYPED_TEST(Enumerator, ClonesWithItsPositionUntilAChange)
{
    const auto items = this->open();
    this->next(items.get(), 1, S_OK);
    ComPtr<typename TypeParam::Enum> clone;
    ASSERT_HRESULT(S_OK, items->Clone(clone.put()));
    EXPECT_EQ((Indices{1, 2}), this->next(clone.get(), 2, S_OK));
    EXPECT_EQ((Indices{1}), this->next(items.get(), 1, S_OK)) << "the clone moved by itself";
    TypeParam::change(this->pair);
    EXPECT_EQ((Indices{}), this->next(items.get(), 1, VFW_E_ENUM_OUT_OF_SYNC));
    EXPECT_HRESULT(VFW_E_ENUM_OUT_OF_SYNC, items->Skip(1));
    EXPECT_HRESULT(VFW_E_ENUM_OUT_OF_SYNC, items->Clone(clone.put()));
    EXPECT_HRESULT(S_OK, items->Reset());
    EXPECT_EQ((Indices{0, 1, 2}), this->next(items.get(), 3, S_OK));
}

TYPED_TEST(Enumerator, KeepsTheFilterAlive)
{
    auto items = this->open();
    EXPECT_EQ(2u, references(this->pair.source.get()));
    const auto same = items.template query<typename TypeParam::Enum>(TypeParam::iid());
    EXPECT_EQ(items.get(), same.get());
    void* other = nullptr;
    EXPECT_HRESULT(E_NOINTERFACE, items->QueryInterface(IID_IPin, &other));
    items.reset();
    EXPECT_EQ(2u, references(this->pair.source.get())) << "the second reference on the enumerator holds it";
}

}  // namespace

}  // namespace zarnow::test
