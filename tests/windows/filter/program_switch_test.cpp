// Programs switched and restored while the filter is connected to a demultiplexer: its pins follow.

#include "tests/windows/support/demultiplexer_pins.h"
#include "tests/windows/support/filter_fixture.h"
#include "tools/common/find_pin.h"
#include "tools/demultiplexer/demultiplexer.h"

namespace zarnow::test {

TEST_F(FilterTest, TheSelectionIsPersistedBehindTheVersionAndTheDemultiplexersPinsFollow)
{
    const std::string wave = " 2 x 16 bit, 48000 Hz, ";
    const Pins first = {"H264_0 PES 256 payload",
                        "AUDIO_0 audio 257 payload: MEDIASUBTYPE_RAW_AAC1" + wave + "28000 byte/s"};
    // AVC pins are not swept.
    const Pins second = {"H264_0 PES 256 payload", "MPEG2_0 video 258 elementary",
                         "AC3_0 audio 259 elementary: MEDIASUBTYPE_DOLBY_AC3" + wave + "12000 byte/s"};
    const Pins another = {"H264_0 PES 256 payload", "MPEG2_0 video 512 elementary",
                          "AUDIO_0 audio 513 elementary: MEDIASUBTYPE_MPEG1AudioPayload" + wave + "16000 byte/s"};
    ASSERT_HRESULT(S_OK, load(kTwoProgramsSample));
    ComPtr<IBaseFilter> demultiplexer;
    ASSERT_HRESULT(S_OK, demux::createDemultiplexer(&demultiplexer));
    const ComPtr<IPin> input = findPin(*demultiplexer.Get(), PINDIR_INPUT);
    const auto pins = [&] { return demultiplexerPins(*demultiplexer.Get()); };
    ASSERT_HRESULT(S_OK, pin->Connect(input.Get(), nullptr));
    EXPECT_EQ(first, pins());

    const ComPtr<IPersistStream> persist = query<IPersistStream>(filter.Get());
    EXPECT_HRESULT(S_FALSE, persist->IsDirty());
    ASSERT_HRESULT(S_OK, tarnwell->SelectProgram(1));
    EXPECT_EQ(second, pins());
    EXPECT_HRESULT(S_OK, persist->IsDirty());
    ULARGE_INTEGER size = {};
    EXPECT_HRESULT(S_OK, persist->GetSizeMax(&size));
    EXPECT_EQ(32U, size.QuadPart);
    ComPtr<IStream> stream;
    ASSERT_HRESULT(S_OK, CreateStreamOnHGlobal(nullptr, TRUE, &stream));
    const auto rewind = [&] { stream->Seek({}, STREAM_SEEK_SET, nullptr); };
    ASSERT_HRESULT(S_OK, persist->Save(stream.Get(), TRUE));
    EXPECT_HRESULT(S_FALSE, persist->IsDirty());
    wchar_t saved[32] = L"";
    rewind();
    stream->Read(saved, sizeof(saved), nullptr);
    EXPECT_STREQ(L"00000000000 \x1001\x0002", saved);  // PMT PID 0x1001, program 2

    ASSERT_HRESULT(S_OK, tarnwell->SelectProgramByNumber(0x1000, 1));
    EXPECT_EQ(first, pins());
    rewind();
    EXPECT_HRESULT(S_OK, persist->Load(stream.Get()));
    EXPECT_EQ(1U, currentProgram());
    EXPECT_EQ(second, pins());

    ASSERT_HRESULT(S_OK, load(kMpeg2Sample));  // another file is configured at once
    EXPECT_EQ(another, pins());
    // A graph may be restored before its file is there: nothing is selected then, and nobody complains.
    rewind();
    EXPECT_HRESULT(S_OK, persist->Load(stream.Get()));
    EXPECT_EQ(0U, currentProgram());
    EXPECT_HRESULT(S_OK, pin->Disconnect());
    EXPECT_HRESULT(S_OK, input->Disconnect());
}

}  // namespace zarnow::test
