// itarnwell.h and the header that the interface compiler makes of itarnwell.idl: as C sees them, slot by slot.

#define CINTERFACE
#include <initguid.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

#include "filter/itarnwell.h"

// The same names again, from the other side.
#define ITarnwell IdlTarnwell
#define ITarnwellVtbl IdlTarnwellVtbl
#define TarnwellVideoInfo IdlVideoInfo
#define IID_ITarnwell IID_IdlTarnwell
#include "itarnwell_idl.h"
#undef ITarnwell
#undef ITarnwellVtbl
#undef TarnwellVideoInfo
#undef IID_ITarnwell

namespace {

template <class Type>
using Unnamed =
    std::conditional_t<std::is_same_v<Type, TarnwellVideoInfo*> || std::is_same_v<Type, IdlVideoInfo*>, void*, Type>;

/// The types of a slot without those that were renamed.
template <class Slot>
struct Signature;
template <class Result, class This, class... Arguments>
struct Signature<Result (*)(This*, Arguments...)>
{
    using Type = Result(Unnamed<Arguments>...);
};

}  // namespace

#define EXPECT_SAME_PLACE(method, slot)                                                                \
    static_assert(offsetof(ITarnwellVtbl, method) == (slot) * sizeof(void*), "itarnwell.h: " #method); \
    static_assert(offsetof(IdlTarnwellVtbl, method) == (slot) * sizeof(void*), "itarnwell.idl: " #method)

#define EXPECT_SAME_SLOT(method, slot)                                                \
    EXPECT_SAME_PLACE(method, slot);                                                  \
    static_assert(std::is_same_v<Signature<decltype(ITarnwellVtbl::method)>::Type,    \
                                 Signature<decltype(IdlTarnwellVtbl::method)>::Type>, \
                  #method)

EXPECT_SAME_PLACE(QueryInterface, 0);
EXPECT_SAME_SLOT(AddRef, 1);
EXPECT_SAME_SLOT(Release, 2);
EXPECT_SAME_SLOT(SetBufferSize, 3);
EXPECT_SAME_SLOT(GetBufferSize, 4);
EXPECT_SAME_SLOT(GetProgramCount, 5);
EXPECT_SAME_SLOT(GetCurrentProgram, 6);
EXPECT_SAME_SLOT(SelectProgramByNumber, 7);
EXPECT_SAME_SLOT(SelectProgram, 8);
EXPECT_SAME_SLOT(GetProgramInfo, 9);
EXPECT_SAME_SLOT(GetStreamCount, 10);
EXPECT_SAME_SLOT(GetStreamInfo, 11);
EXPECT_SAME_SLOT(SetDefaultStreams, 12);
EXPECT_SAME_SLOT(GetVideoInfo, 13);
static_assert(sizeof(ITarnwellVtbl) == 14 * sizeof(void*) && sizeof(IdlTarnwellVtbl) == 14 * sizeof(void*));

#define EXPECT_SAME_FIELD(field, offset)                                          \
    static_assert(offsetof(TarnwellVideoInfo, field) == (offset), "itarnwell.h"); \
    static_assert(offsetof(IdlVideoInfo, field) == (offset), "itarnwell.idl")

EXPECT_SAME_FIELD(profile_idc, 0);
EXPECT_SAME_FIELD(level_idc, 4);
EXPECT_SAME_FIELD(aspect_ratio_idc, 8);
EXPECT_SAME_FIELD(sarWidthLow, 9);
EXPECT_SAME_FIELD(sarHeightLow, 10);
EXPECT_SAME_FIELD(num_ref_frames, 11);
EXPECT_SAME_FIELD(slicesPerPicture, 12);
EXPECT_SAME_FIELD(bFrameRun, 13);
EXPECT_SAME_FIELD(gopPictureCount, 14);
EXPECT_SAME_FIELD(frame_mbs_only_flag, 15);
EXPECT_SAME_FIELD(mb_adaptive_frame_field_flag, 16);
EXPECT_SAME_FIELD(entropy_coding_mode_flag, 17);
EXPECT_SAME_FIELD(nal_hrd_parameters_present_flag, 18);
EXPECT_SAME_FIELD(vcl_hrd_parameters_present_flag, 19);
EXPECT_SAME_FIELD(fixed_frame_rate_flag, 20);
EXPECT_SAME_FIELD(timing_info_present_flag, 21);
EXPECT_SAME_FIELD(frameRateTimes100, 24);
EXPECT_SAME_FIELD(estimatedAverageBitRate, 28);
EXPECT_SAME_FIELD(hrdBitRate, 32);
EXPECT_SAME_FIELD(hrdCpbSize, 36);
EXPECT_SAME_FIELD(initialCpbRemovalDelayLength, 40);
EXPECT_SAME_FIELD(timeOffsetLength, 44);
EXPECT_SAME_FIELD(initialCpbRemovalDelay, 48);
static_assert(sizeof(TarnwellVideoInfo) == 52 && sizeof(IdlVideoInfo) == 52);

namespace zarnow::test {

// Identifiers are no constant expressions in C headers.
TEST(Interface, HeaderAndIdlNameTheSameIdentifier)
{
    EXPECT_TRUE(IsEqualGUID(IID_ITarnwell, IID_IdlTarnwell));
}

}  // namespace zarnow::test
