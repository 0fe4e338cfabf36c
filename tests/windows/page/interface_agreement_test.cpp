// itarnwell.h and the header that the interface compiler makes of itarnwell.idl: as C sees them, slot by slot.

#define CINTERFACE
#include <initguid.h>

#include <gtest/gtest.h>

#include <objbase.h>

#include <algorithm>
#include <regex>
#include <typeinfo>

namespace own {
#include "filter/itarnwell.h"
}
namespace idl {
#include "itarnwell_idl.h"
}

namespace zarnow::test {

namespace {

using Members = std::vector<std::pair<std::size_t, std::string>>;

/// Where the members of a structure lie and what they are, whoever declared it; and where it ends.
template <class Structure, class... Types>
Members layout(Types Structure::*... members)
{
    const Structure structure = {};
    const auto offset = [&](const auto& member) {
        return static_cast<std::size_t>(reinterpret_cast<const char*>(&member) -
                                        reinterpret_cast<const char*>(&structure));
    };
    const auto type = [](const std::type_info& info) {
        return std::regex_replace(info.name(), std::regex("own|idl"), "");
    };
    return {{offset(structure.*members), type(typeid(Types))}..., {sizeof(Structure), ""}};
}

// But QueryInterface, whose IID the interface compiler hands over in another way.
#define SLOTS(Vtbl)                                                                                             \
    layout(&Vtbl::AddRef, &Vtbl::Release, &Vtbl::SetBufferSize, &Vtbl::GetBufferSize, &Vtbl::GetProgramCount,   \
           &Vtbl::GetCurrentProgram, &Vtbl::SelectProgramByNumber, &Vtbl::SelectProgram, &Vtbl::GetProgramInfo, \
           &Vtbl::GetStreamCount, &Vtbl::GetStreamInfo, &Vtbl::SetDefaultStreams, &Vtbl::GetVideoInfo)

#define FIELDS(Info)                                                                                                  \
    layout(&Info::profile_idc, &Info::level_idc, &Info::aspect_ratio_idc, &Info::sarWidthLow, &Info::sarHeightLow,    \
           &Info::num_ref_frames, &Info::slicesPerPicture, &Info::bFrameRun, &Info::gopPictureCount,                  \
           &Info::frame_mbs_only_flag, &Info::mb_adaptive_frame_field_flag, &Info::entropy_coding_mode_flag,          \
           &Info::nal_hrd_parameters_present_flag, &Info::vcl_hrd_parameters_present_flag,                            \
           &Info::fixed_frame_rate_flag, &Info::timing_info_present_flag, &Info::frameRateTimes100,                   \
           &Info::estimatedAverageBitRate, &Info::hrdBitRate, &Info::hrdCpbSize, &Info::initialCpbRemovalDelayLength, \
           &Info::timeOffsetLength, &Info::initialCpbRemovalDelay)

}  // namespace

TEST(Interface, HeaderAndIdlAgree)
{
    const Members slots = SLOTS(own::ITarnwellVtbl);
    EXPECT_EQ(slots, SLOTS(idl::ITarnwellVtbl));
    EXPECT_TRUE(std::ranges::is_sorted(slots) && slots.back().first == 14 * sizeof(void*));
    const Members fields = FIELDS(own::TarnwellVideoInfo);
    EXPECT_EQ(fields, FIELDS(idl::TarnwellVideoInfo));
    EXPECT_TRUE(std::ranges::is_sorted(fields) && fields.back().first == 52);
    EXPECT_TRUE(IsEqualGUID(own::IID_ITarnwell, idl::IID_ITarnwell));
}

}  // namespace zarnow::test
