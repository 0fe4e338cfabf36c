// Programs switched while the filter is connected to a demultiplexer: its pins follow.

#include "tests/windows/support/demultiplexer_pins.h"
#include "tests/windows/support/filter_fixture.h"
#include "tools/common/find_pin.h"
#include "tools/demultiplexer/demultiplexer.h"

namespace zarnow::test {

TEST_F(FilterTest, TheDemultiplexersPinsFollowTheSelection)
{
    const Pins first = {"H264_0 PES 256 payload", "AUDIO_0 audio 257 payload"};
    // AVC pins are not swept.
    const Pins second = {"H264_0 PES 256 payload", "MPEG2_0 video 258 elementary",
                                          "AC3_0 audio 259 elementary"};
    const Pins another = {"H264_0 PES 256 payload", "MPEG2_0 video 512 elementary",
                                           "AUDIO_0 audio 513 elementary"};
    ASSERT_HRESULT(S_OK, load(kTwoProgramsSample));
    ComPtr<IBaseFilter> demultiplexer;
    ASSERT_HRESULT(S_OK, demux::createDemultiplexer(&demultiplexer));
    const auto pins = [&] { return demultiplexerPins(*demultiplexer.Get()); };
    const ComPtr<IPin> input = findPin(*demultiplexer.Get(), PINDIR_INPUT);
    ASSERT_HRESULT(S_OK, pin->Connect(input.Get(), nullptr));
    EXPECT_EQ(first, pins());
    ASSERT_HRESULT(S_OK, tarnwell->SelectProgram(1));
    EXPECT_EQ(second, pins());

    const ComPtr<IPersistStream> persist = query<IPersistStream>(filter.Get());
    ComPtr<IStream> saved;
    ASSERT_HRESULT(S_OK, CreateStreamOnHGlobal(nullptr, TRUE, &saved));
    ASSERT_HRESULT(S_OK, persist->Save(saved.Get(), TRUE));
    ASSERT_HRESULT(S_OK, tarnwell->SelectProgramByNumber(0x1000, 1));
    EXPECT_EQ(first, pins());
    saved->Seek({}, STREAM_SEEK_SET, nullptr);
    ASSERT_HRESULT(S_OK, persist->Load(saved.Get()));
    EXPECT_EQ(second, pins());

    ASSERT_HRESULT(S_OK, load(kMpeg2Sample));  // another file is configured at once
    EXPECT_EQ(another, pins());
    EXPECT_HRESULT(S_OK, pin->Disconnect());
    EXPECT_HRESULT(S_OK, input->Disconnect());
}

}  // namespace zarnow::test
