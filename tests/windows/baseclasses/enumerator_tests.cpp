// Enumerators of pins and media types: one set of rules, checked on both.

#include <algorithm>

#include "pair.h"

namespace zarnow::test {

namespace {

/// One kind of enumerator, made to look like the other: three items, each shown by its index.
template <class Enum, class Item>
struct Kind
{
    std::function<HRESULT(Enum**)> open;
    std::function<int(Item)> take;
    std::function<void()> change;

    std::vector<int> next(ComPtr<Enum>& from, ULONG count, HRESULT expected) const
    {
        std::vector<Item> got(count, nullptr);
        ULONG fetched = 99;
        EXPECT_HRESULT(expected, from->Next(count, got.data(), &fetched));
        got.resize(std::min(fetched, count));
        std::vector<int> indices;
        std::ranges::transform(got, std::back_inserter(indices), take);
        return indices;
    }

    void keepsToTheRules() const
    {
        using Indices = std::vector<int>;
        ComPtr<Enum> items;
        ComPtr<Enum> clone;
        Item got[2] = {};
        ASSERT_HRESULT(S_OK, open(items.put()));
        EXPECT_HRESULT(E_INVALIDARG, items->Next(2, got, nullptr)) << "nobody would know how many there are";
        EXPECT_HRESULT(E_POINTER, items->Next(1, nullptr, nullptr));
        EXPECT_HRESULT(E_POINTER, items->Clone(nullptr));
        EXPECT_EQ((Indices{0, 1}), next(items, 2, S_OK));
        ASSERT_HRESULT(S_OK, items->Clone(clone.put()));
        EXPECT_EQ((Indices{2}), next(clone, 2, S_FALSE)) << "it starts where the other one is";
        EXPECT_EQ((Indices{2}), next(items, 1, S_OK)) << "and moves by itself";
        EXPECT_EQ((Indices{}), next(items, 1, S_FALSE));
        EXPECT_HRESULT(S_OK, items->Reset());
        EXPECT_HRESULT(S_OK, items->Skip(0));
        EXPECT_HRESULT(S_OK, items->Skip(2));
        EXPECT_EQ((Indices{2}), next(items, 1, S_OK));
        items->Reset();
        EXPECT_HRESULT(S_OK, items->Skip(3));
        EXPECT_HRESULT(S_FALSE, items->Skip(0xFFFFFFFF));
        EXPECT_HRESULT(S_FALSE, items->Skip(0xFFFFFFFF));
        EXPECT_EQ((Indices{}), next(items, 1, S_FALSE));
        change();
        EXPECT_EQ((Indices{}), next(items, 1, VFW_E_ENUM_OUT_OF_SYNC));
        EXPECT_HRESULT(VFW_E_ENUM_OUT_OF_SYNC, items->Skip(1));
        EXPECT_HRESULT(VFW_E_ENUM_OUT_OF_SYNC, items->Clone(clone.put()));
        EXPECT_HRESULT(S_OK, items->Reset());
        EXPECT_EQ((Indices{0, 1, 2}), next(items, 3, S_OK));
    }
};

TEST_F(FrameworkTest, EnumeratorsKeepToTheRules)
{
    Pair pair({.types = {mediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT),
                         mediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_PROGRAM),
                         mediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG1System)}},
              3);
    TestStream& stream = pair.stream();
    const auto takePin = [&](IPin* pin) {
        pin->Release();
        return pair.filter->FindPinNumber(pin);
    };
    const auto takeType = [&types = stream.plan.types](AM_MEDIA_TYPE* type) {
        const auto found = std::ranges::find(types, type->subtype, &CMediaType::subtype);
        DeleteMediaType(type);
        return static_cast<int>(found - types.begin());
    };
    Kind<IEnumPins, IPin*>{[&](IEnumPins** out) { return pair.source->EnumPins(out); }, takePin,
                           [&] { pair.filter->IncrementPinVersion(); }}
        .keepsToTheRules();
    Kind<IEnumMediaTypes, AM_MEDIA_TYPE*>{[&](IEnumMediaTypes** out) { return stream.EnumMediaTypes(out); }, takeType,
                                          [&] { stream.IncrementTypeVersion(); }}
        .keepsToTheRules();
    EXPECT_EQ(1u, references(pair.source.get()));
}

}  // namespace

}  // namespace zarnow::test
