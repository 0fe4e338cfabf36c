// itarnwell.h and the header that the interface compiler makes of itarnwell.idl: as C sees them, slot by slot.

#define CINTERFACE
#include <initguid.h>

#include <gtest/gtest.h>

#include <tuple>

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

namespace zarnow::test {

namespace {

template <class Type>
using Unnamed =
    std::conditional_t<std::is_same_v<Type, TarnwellVideoInfo*> || std::is_same_v<Type, IdlVideoInfo*>, void*, Type>;

/// The type of a slot or a field without those that were renamed.
template <class Type>
struct Signature
{
    using Plain = Type;
};
template <class Result, class This, class... Arguments>
struct Signature<Result (*)(This*, Arguments...)>
{
    using Plain = Result(Unnamed<Arguments>...);
};

using Offsets = std::vector<std::size_t>;

/// Where the members of a structure lie, and what they are.
template <class Structure, class... Types>
struct Layout
{
    explicit Layout(Types Structure::*... members)
    {
        const Structure structure = {};
        const auto* begin = reinterpret_cast<const char*>(&structure);
        offsets = {static_cast<std::size_t>(reinterpret_cast<const char*>(&(structure.*members)) - begin)...,
                   sizeof(Structure)};
    }
    using Plain = std::tuple<typename Signature<Types>::Plain*...>;

    Offsets offsets;
};

// But QueryInterface, whose IID the interface compiler hands over in another way.
#define SLOTS(Vtbl)                                                                                             \
    Layout(&Vtbl::AddRef, &Vtbl::Release, &Vtbl::SetBufferSize, &Vtbl::GetBufferSize, &Vtbl::GetProgramCount,   \
           &Vtbl::GetCurrentProgram, &Vtbl::SelectProgramByNumber, &Vtbl::SelectProgram, &Vtbl::GetProgramInfo, \
           &Vtbl::GetStreamCount, &Vtbl::GetStreamInfo, &Vtbl::SetDefaultStreams, &Vtbl::GetVideoInfo)

#define FIELDS(Info)                                                                                                  \
    Layout(&Info::profile_idc, &Info::level_idc, &Info::aspect_ratio_idc, &Info::sarWidthLow, &Info::sarHeightLow,    \
           &Info::num_ref_frames, &Info::slicesPerPicture, &Info::bFrameRun, &Info::gopPictureCount,                  \
           &Info::frame_mbs_only_flag, &Info::mb_adaptive_frame_field_flag, &Info::entropy_coding_mode_flag,          \
           &Info::nal_hrd_parameters_present_flag, &Info::vcl_hrd_parameters_present_flag,                            \
           &Info::fixed_frame_rate_flag, &Info::timing_info_present_flag, &Info::frameRateTimes100,                   \
           &Info::estimatedAverageBitRate, &Info::hrdBitRate, &Info::hrdCpbSize, &Info::initialCpbRemovalDelayLength, \
           &Info::timeOffsetLength, &Info::initialCpbRemovalDelay)

template <class Own, class Idl>
void expectSame(const Offsets& expected, const Own& own, const Idl& idl)
{
    static_assert(std::is_same_v<typename Own::Plain, typename Idl::Plain>);
    EXPECT_EQ(expected, own.offsets);
    EXPECT_EQ(expected, idl.offsets);
}

}  // namespace

TEST(Interface, HeaderAndIdlAgree)
{
    expectSame({8, 16, 24, 32, 40, 48, 56, 64, 72, 80, 88, 96, 104, 112}, SLOTS(ITarnwellVtbl), SLOTS(IdlTarnwellVtbl));
    expectSame({0, 4, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 24, 28, 32, 36, 40, 44, 48, 52},
               FIELDS(TarnwellVideoInfo), FIELDS(IdlVideoInfo));
    EXPECT_TRUE(IsEqualGUID(IID_ITarnwell, IID_IdlTarnwell));
}

}  // namespace zarnow::test
