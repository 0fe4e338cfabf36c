// What becomes of the demultiplexer downstream.

#include "mediatypes/demultiplexer_configuration.h"

#include <cstring>

#include "tests/windows/support/demultiplexer_pins.h"
#include "tests/windows/support/filter_module.h"
#include "tests/windows/support/framework_test.h"
#include "tests/windows/support/sink_filter.h"
#include "tools/common/find_pin.h"
#include "tools/demultiplexer/demultiplexer.h"

namespace zarnow::test {

namespace {

/// Connected without any negotiation.
struct ConnectedPin final : CBaseInputPin
{
    ConnectedPin(SinkFilter& owner, IPin* peer) : CBaseInputPin(nullptr, &owner, &owner.lock, &owner.created, L"")
    {
        m_Connected = peer;
    }
    ~ConnectedPin() override { m_Connected = nullptr; }  // was never counted
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
};

/// The sequence header is zeros but for its first and last byte and the one behind 22, the length without matrices.
VideoProbeRecord video(std::uint16_t pid, std::uint8_t streamType, std::uint8_t streamId = 0xE0,
                       std::uint32_t headerLength = 22, std::uint8_t progressive = 0)
{
    VideoProbeRecord record = {.pid = pid,
                               .streamId = streamId,
                               .streamType = streamType,
                               .profile = 4,
                               .level = 8,
                               .codedWidth = 1920,
                               .codedHeight = 1080,
                               .avgTimePerFrame = 400000,
                               .bitRate = 6000000,
                               .pelsPerMeterX = 2000,
                               .pelsPerMeterY = 53031,
                               .aspectX = 16,
                               .aspectY = 9,
                               .sequenceHeaderLength = headerLength,
                               .progressive = progressive};
    record.sequenceHeader[0] = 1;
    record.sequenceHeader[22] = 3;
    record.sequenceHeader[headerLength - 1] = 2;
    return record;
}

AudioProbeRecord audio(std::uint16_t pid, std::uint8_t streamType, std::uint8_t layer = 0, std::uint8_t isLpcm = 0)
{
    return {.pid = pid,
            .layer = layer,
            .sampleRate = 44100,
            .avgBytesPerSec = 24000,
            .streamType = streamType,
            .isLpcm = isLpcm,
            .channels = 5,
            .bitsPerSample = 20};
}

constexpr AudioProbeRecord kUnknownAudio = {.pid = 6, .streamType = 4};
const std::string kMpeg1 = ": MEDIASUBTYPE_MPEG1AudioPayload 5 x 20 bit, 44100 Hz, 24000 byte/s";
const std::string kAc3 = ": MEDIASUBTYPE_DOLBY_AC3 5 x 20 bit, 44100 Hz, 24000 byte/s";
const std::string kLpcm = ": LPCM 5 x 20 bit, 44100 Hz, 24000 byte/s, by 188";

class DemultiplexerConfiguration : public FrameworkTest
{
protected:
    DemultiplexerConfiguration() { EXPECT_HRESULT(S_OK, demux::createDemultiplexer(&filter)); }

    HRESULT configure(IPin* peer, const std::vector<VideoProbeRecord>& videos,
                      const std::vector<AudioProbeRecord>& audios)
    {
        ConnectedPin pin(sink, peer);
        const ULONG before = references(filter.Get());
        const HRESULT configured = ConfigureDemultiplexer(&pin, {.video = videos, .audio = audios}, avcPresent);
        EXPECT_EQ(before, references(filter.Get()));
        return configured;
    }
    HRESULT configure(const std::vector<VideoProbeRecord>& videos, const std::vector<AudioProbeRecord>& audios)
    {
        return configure(findPin(*filter.Get(), PINDIR_INPUT).Get(), videos, audios);
    }
    ComPtr<IPin> createPin(std::wstring name) const
    {
        ComPtr<IPin> pin;
        CMediaType type = mediaType(MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO);
        const auto demultiplexer = query<IMpeg2Demultiplexer>(filter.Get());
        EXPECT_HRESULT(S_OK, demultiplexer->CreateOutputPin(&type, name.data(), &pin));
        return pin;
    }
    Pins pins() const { return demultiplexerPins(*filter.Get()); }

    SinkFilter sink;
    ComPtr<IBaseFilter> filter;
    bool avcPresent = true;
};

TEST_F(DemultiplexerConfiguration, WithoutConnectionOrDemultiplexerNothingHappens)
{
    EXPECT_HRESULT(VFW_E_NOT_CONNECTED, configure(nullptr, {video(1, 2)}, {audio(2, 3)}));
    EXPECT_HRESULT(S_OK, configure(&sink.input, {video(1, 2)}, {audio(2, 3)}));
    EXPECT_TRUE(avcPresent);
    EXPECT_EQ(Pins{}, pins());
}

TEST_F(DemultiplexerConfiguration, SweepsTheFirstTwoPinsOfFourKinds)
{
    for (const wchar_t* prefix : {L"MPEG2_", L"MPEG1_", L"H264_", L"AUDIO_", L"AC3_", L"LPCM_"})
        for (const wchar_t digit : {L'0', L'1', L'2'})
            createPin(std::wstring(prefix) + digit);
    EXPECT_HRESULT(S_OK, configure({video(7, 0x1B)}, {}));
    EXPECT_EQ((Pins{"MPEG2_2 video", "MPEG1_2 video", "H264_0 PES 7 payload", "H264_1 video", "H264_2 video",
                    "AUDIO_2 video", "AC3_2 video", "LPCM_0 video", "LPCM_1 video", "LPCM_2 video"}),
              pins());
}

TEST_F(DemultiplexerConfiguration, AnAudioPinThatCannotBeReplacedIsReported)
{
    const ComPtr<IPin> inUse = createPin(L"AUDIO_0");
    EXPECT_HRESULT(S_OK, inUse->Connect(&sink.input, nullptr));
    sink.Pause();
    EXPECT_HRESULT(E_FAIL, configure({}, {audio(1, 3)}));
    EXPECT_EQ(Pins{"AUDIO_0 video"}, pins());
    sink.Stop();
    EXPECT_HRESULT(S_OK, inUse->Disconnect());
    EXPECT_HRESULT(S_OK, sink.input.Disconnect());
}

TEST_F(DemultiplexerConfiguration, ProgramsInPinsNamesAndMappings)
{
    const struct
    {
        const char* fault;
        std::vector<VideoProbeRecord> videos;
        std::vector<AudioProbeRecord> audios;
        Pins expected;
        HRESULT result = S_OK;
        bool avcPresent = false;
    } programs[] = {
        {"an empty record does not end its list",
         {video(1, 2), video(0, 2), video(3, 2)},
         {audio(0, 3), audio(5, 3)},
         {"MPEG2_0 video 1 elementary"}},
        {"an unknown video type takes no index, or MPEG-2 video is mapped without a look at its stream_id",
         {video(1, 2, 0xBD), video(2, 0x10), video(3, 1, 0xBD)},
         {},
         {"MPEG2_0 video 1 payload", "MPEG1_2 video 3 elementary"}},
        {"the digit counts per prefix, layer II of stream_type 4 is relabelled, or AAC under it is not",
         {},
         {audio(7, 3), audio(8, 0x81), audio(9, 4, 2), audio(5, 4, 1), kUnknownAudio},
         {"AUDIO_0 audio 7 elementary" + kMpeg1, "AC3_1 audio 8 elementary" + kAc3,
          "AUDIO_2 audio 9 elementary: MEDIASUBTYPE_MPEG2_AUDIO 5 x 20 bit, 44100 Hz, 24000 byte/s",
          "AUDIO_3 audio 5 elementary: MEDIASUBTYPE_RAW_AAC1 5 x 20 bit, 44100 Hz, 192000 byte/s",
          "AUDIO_4 audio 6 elementary: MEDIASUBTYPE_RAW_AAC1 2 x 16 bit, 48000 Hz, 192000 byte/s"}},
        {"any AVC stream decides for the audio, not the last video stream, or a failure ends the run or is reported",
         {video(1, 0x1B), video(0x2000, 2, 0xEF)},
         {audio(0x2000, 3), audio(4, 0x80, 0, 1)},
         {"H264_0 PES 1 payload", "MPEG2_1 video", "AUDIO_0 audio" + kMpeg1, "LPCM_1 PES 4 payload" + kLpcm}},
        {"the failure of the last audio pin is lost", {}, {audio(0x2000, 3)}, {"AUDIO_0 audio" + kMpeg1}, E_INVALIDARG},
        {"audio beside AVC not mapped as payload, AAC described as PES data or by its header, or a wrong name",
         {video(1, 0x1B)},
         {audio(2, 0x0F), audio(3, 0x11), audio(4, 6), audio(5, 0x80, 0, 1), audio(6, 3)},
         {"H264_0 PES 1 payload", "AUDIO_0 audio 2 payload: MEDIASUBTYPE_RAW_AAC1 2 x 16 bit, 48000 Hz, 28000 byte/s",
          "AUDIO_1 audio 3 payload: 'LATM' 2 x 16 bit, 48000 Hz, 28000 byte/s", "AC3_2 PES 4 payload" + kAc3,
          "LPCM_3 PES 5 payload" + kLpcm, "AUDIO_4 PES 6 payload" + kMpeg1},
         S_OK,
         true},
    };
    for (const auto& program : programs) {
        SCOPED_TRACE(program.fault);
        filter.Reset();
        demux::createDemultiplexer(&filter);
        EXPECT_HRESULT(program.result, configure(program.videos, program.audios));
        EXPECT_EQ(program.expected, pins());
        EXPECT_EQ(program.avcPresent, avcPresent);
        avcPresent = false;
    }
}

/// Every word that is not zero, by the documented offsets of the structures.
TEST_F(DemultiplexerConfiguration, FormatBlocksOfVideo)
{
    const struct
    {
        const char* fault;
        VideoProbeRecord record;
        std::string block;
    } cases[] = {
        {"an interlaced stream without its flags, or a block not 146 bytes longer than the header", video(1, 2),
         "168 bytes 8=1920 12=1080 32=6000000 40=400000 48=5 56=16 60=9 72=40 76=1920 80=1080 84=1 92=4147200 96=2000 "
         "100=53031 116=22 120=2 124=2 132=1 152=512"},
        {"a progressive stream with flags, or its header with both matrices and the extension cut off",
         video(1, 2, 0xE0, 150, 1),
         "296 bytes 8=1920 12=1080 32=6000000 40=400000 56=16 60=9 72=40 76=1920 80=1080 84=1 92=4147200 96=2000 "
         "100=53031 116=150 120=2 124=2 132=1 152=196608 280=512"},
        {"MPEG-1 video with an aspect ratio", video(1, 1, 0xE0, 12),
         "126 bytes 8=1920 12=1080 32=6000000 40=400000 48=40 52=1920 56=1080 60=1 68=4147200 72=2000 76=53031 92=12 "
         "96=1 104=33554432"},
        {"AVC with its height not rounded down, or with its own frame rate", video(1, 0x1B),
         "212 bytes 8=1920 12=1072 40=333667 48=1 56=16 60=9 72=40 76=1920 80=1080 84=1 88=875967048 92=6000000"},
        {"progressive AVC with flags", video(1, 0x1B, 0xE0, 22, 1),
         "212 bytes 8=1920 12=1072 40=333667 56=16 60=9 72=40 76=1920 80=1080 84=1 88=875967048 92=6000000"},
    };
    for (const auto& c : cases) {
        EXPECT_HRESULT(S_OK, configure({c.record}, {}));
        const CMediaType type = tsgraph::readPins(*filter.Get()).at(0).type;
        std::vector<std::uint32_t> words((type.FormatLength() + 3) / 4);
        std::memcpy(words.data(), type.Format(), type.FormatLength());
        std::string block = std::to_string(type.FormatLength()) + " bytes";
        for (std::size_t i = 0; i < words.size(); ++i)
            block += words[i] == 0 ? "" : formatted(" %zu=%lu", 4 * i, static_cast<unsigned long>(words[i]));
        EXPECT_EQ(c.block, block) << c.fault;
    }
}

}  // namespace

}  // namespace zarnow::test
