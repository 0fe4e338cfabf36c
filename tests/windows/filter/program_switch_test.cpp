// Programs switched while the filter is connected to a demultiplexer: its pins follow.

#include <set>

#include "tests/windows/support/filter_fixture.h"
#include "tools/demultiplexer/demultiplexer.h"

namespace zarnow::test {

namespace {

using Names = std::set<std::wstring>;

/// The output pins' names; the input pin's goes to `input`.
Names outputPins(IBaseFilter* demultiplexer, ComPtr<IPin>& input)
{
    Names names;
    ComPtr<IEnumPins> pins;
    EXPECT_HRESULT(S_OK, demultiplexer->EnumPins(&pins));
    for (ComPtr<IPin> next; pins->Next(1, next.ReleaseAndGetAddressOf(), nullptr) == S_OK;) {
        PIN_INFO info = {};
        EXPECT_HRESULT(S_OK, next->QueryPinInfo(&info));
        info.pFilter->Release();
        if (info.dir == PINDIR_OUTPUT)
            names.insert(info.achName);
        else
            input = next;
    }
    return names;
}

}  // namespace

TEST_F(FilterTest, TheDemultiplexersPinsFollowTheSelection)
{
    ASSERT_HRESULT(S_OK, load(kTwoProgramsSample));
    ComPtr<IBaseFilter> demultiplexer;
    ASSERT_HRESULT(S_OK, demux::createDemultiplexer(&demultiplexer));
    ComPtr<IPin> input;
    EXPECT_EQ(Names{}, outputPins(demultiplexer.Get(), input));
    ASSERT_HRESULT(S_OK, pin->Connect(input.Get(), nullptr));
    const auto pins = [&] { return outputPins(demultiplexer.Get(), input); };
    EXPECT_EQ((Names{L"H264_0", L"AUDIO_0"}), pins());

    ASSERT_HRESULT(S_OK, tarnwell->SelectProgram(1));
    EXPECT_EQ((Names{L"H264_0", L"MPEG2_0", L"AC3_0"}), pins());  // AVC pins are not swept

    const ComPtr<IPersistStream> persist = query<IPersistStream>(filter.Get());
    ComPtr<IStream> saved;
    ASSERT_HRESULT(S_OK, CreateStreamOnHGlobal(nullptr, TRUE, &saved));
    ASSERT_HRESULT(S_OK, persist->Save(saved.Get(), TRUE));
    ASSERT_HRESULT(S_OK, tarnwell->SelectProgramByNumber(0x1000, 1));
    EXPECT_EQ((Names{L"H264_0", L"AUDIO_0"}), pins());
    saved->Seek({}, STREAM_SEEK_SET, nullptr);
    ASSERT_HRESULT(S_OK, persist->Load(saved.Get()));
    EXPECT_EQ((Names{L"H264_0", L"MPEG2_0", L"AC3_0"}), pins());

    ASSERT_HRESULT(S_OK, load(kMpeg2Sample));  // another file is configured at once
    EXPECT_EQ((Names{L"H264_0", L"MPEG2_0", L"AUDIO_0"}), pins());
    EXPECT_HRESULT(S_OK, pin->Disconnect());
    EXPECT_HRESULT(S_OK, input->Disconnect());
}

}  // namespace zarnow::test
