// Enumerators of pins and media types: one set of rules, checked on both.

#include <algorithm>

#include "pair.h"

namespace zarnow::test {

namespace {

const StreamPlan kThreeTypes{.types = {mediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT),
                                       mediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_PROGRAM),
                                       mediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG1System)}};

/// Makes both kinds look alike: three items, each shown by its index.
struct Pins
{
    using Enum = IEnumPins;
    using Item = IPin*;
    static HRESULT open(Pair& pair, Enum** out) { return pair.source->EnumPins(out); }
    static void change(Pair& pair) { pair.filter->IncrementPinVersion(); }
    static int take(Pair& pair, Item item)
    {
        const int index = pair.filter->FindPinNumber(item);
        item->Release();
        return index;
    }
};

struct Types
{
    using Enum = IEnumMediaTypes;
    using Item = AM_MEDIA_TYPE*;
    static HRESULT open(Pair& pair, Enum** out) { return pair.stream().EnumMediaTypes(out); }
    static void change(Pair& pair) { pair.stream().IncrementTypeVersion(); }
    static int take(Pair& pair, Item item)
    {
        const auto& types = pair.stream().plan.types;
        const auto found = std::ranges::find(types, item->subtype, &CMediaType::subtype);
        DeleteMediaType(item);
        return static_cast<int>(found - types.begin());
    }
};

using Indices = std::vector<int>;

template <typename Kind>
class Enumerator : public FrameworkTest
{
protected:
    using Item = typename Kind::Item;

    Enumerator() { EXPECT_HRESULT(S_OK, Kind::open(pair, items_.put())); }

    Indices next(ComPtr<typename Kind::Enum>& from, ULONG count, HRESULT expected)
    {
        std::vector<Item> got(count, nullptr);
        ULONG fetched = 99;
        EXPECT_HRESULT(expected, from->Next(count, got.data(), &fetched));
        got.resize(std::min(fetched, count));
        Indices indices;
        std::ranges::transform(got, std::back_inserter(indices), [&](Item item) { return Kind::take(pair, item); });
        return indices;
    }

    Pair pair{kThreeTypes, 3};
    ComPtr<typename Kind::Enum> items_;
};

using Kinds = testing::Types<Pins, Types>;
TYPED_TEST_SUITE(Enumerator, Kinds);

TYPED_TEST(Enumerator, GivesAndSkipsItemsInOrder)
{
    typename TypeParam::Item got[2] = {};
    EXPECT_HRESULT(E_INVALIDARG, this->items_->Next(2, got, nullptr)) << "nobody would know how many there are";
    EXPECT_HRESULT(E_POINTER, this->items_->Next(1, nullptr, nullptr));
    EXPECT_HRESULT(E_POINTER, this->items_->Clone(nullptr));
    EXPECT_EQ((Indices{0, 1}), this->next(this->items_, 2, S_OK));
    EXPECT_EQ((Indices{2}), this->next(this->items_, 2, S_FALSE));
    EXPECT_EQ((Indices{}), this->next(this->items_, 1, S_FALSE));
    EXPECT_HRESULT(S_OK, this->items_->Reset());
    EXPECT_HRESULT(S_OK, this->items_->Skip(0));
    EXPECT_HRESULT(S_OK, this->items_->Skip(2));
    EXPECT_EQ((Indices{2}), this->next(this->items_, 1, S_OK));
    this->items_->Reset();
    EXPECT_HRESULT(S_OK, this->items_->Skip(3));
    EXPECT_HRESULT(S_FALSE, this->items_->Skip(0xFFFFFFFF));
    EXPECT_HRESULT(S_FALSE, this->items_->Skip(0xFFFFFFFF));
    EXPECT_EQ((Indices{}), this->next(this->items_, 1, S_FALSE));
}

TYPED_TEST(Enumerator, ClonesWithItsPositionUntilAChange)
{
    this->next(this->items_, 1, S_OK);
    ComPtr<typename TypeParam::Enum> clone;
    ASSERT_HRESULT(S_OK, this->items_->Clone(clone.put()));
    EXPECT_EQ((Indices{1, 2}), this->next(clone, 2, S_OK));
    EXPECT_EQ((Indices{1}), this->next(this->items_, 1, S_OK)) << "the clone moved by itself";
    TypeParam::change(this->pair);
    EXPECT_EQ((Indices{}), this->next(this->items_, 1, VFW_E_ENUM_OUT_OF_SYNC));
    EXPECT_HRESULT(VFW_E_ENUM_OUT_OF_SYNC, this->items_->Skip(1));
    EXPECT_HRESULT(VFW_E_ENUM_OUT_OF_SYNC, this->items_->Clone(clone.put()));
    EXPECT_HRESULT(S_OK, this->items_->Reset());
    EXPECT_EQ((Indices{0, 1, 2}), this->next(this->items_, 3, S_OK));
    EXPECT_EQ(2u, references(this->pair.source.get())) << "it holds the filter";
}

}  // namespace

}  // namespace zarnow::test
