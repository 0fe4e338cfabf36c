// What becomes of the demultiplexer downstream.

#include "mediatypes/demultiplexer_configuration.h"

#include "tests/windows/support/demultiplexer_pins.h"
#include "tests/windows/support/filter_module.h"
#include "tests/windows/support/framework_test.h"
#include "tests/windows/support/sink_filter.h"
#include "tools/common/find_pin.h"
#include "tools/demultiplexer/demultiplexer.h"

namespace zarnow::test {

namespace {

/// Connected without any negotiation.
class ConnectedPin final : public CBaseOutputPin
{
public:
    ConnectedPin(SinkFilter& owner, IPin* peer) : CBaseOutputPin(nullptr, &owner, &owner.lock, &owner.created, L"Out")
    {
        m_Connected = peer;
    }
    ~ConnectedPin() override { m_Connected = nullptr; }  // was never counted
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT DecideBufferSize(IMemAllocator*, ALLOCATOR_PROPERTIES*) override { return E_NOTIMPL; }
};

VideoProbeRecord video(std::uint16_t pid, std::uint8_t streamType, std::uint8_t streamId = 0xE0)
{
    return {.pid = pid, .streamId = streamId, .streamType = streamType};
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

}  // namespace

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
    HRESULT deletePin(std::wstring name)
    {
        return query<IMpeg2Demultiplexer>(filter.Get())->DeleteOutputPin(name.data());
    }
    /// Replaces one of the same name.
    ComPtr<IPin> createPin(std::wstring name)
    {
        ComPtr<IPin> pin;
        CMediaType type = mediaType(MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO);
        deletePin(name);
        const auto demultiplexer = query<IMpeg2Demultiplexer>(filter.Get());
        EXPECT_HRESULT(S_OK, demultiplexer->CreateOutputPin(&type, name.data(), &pin));
        return pin;
    }
    Pins pins() const { return demultiplexerPins(*filter.Get()); }

    SinkFilter sink;
    ComPtr<IBaseFilter> filter;
    bool avcPresent = false;
};

TEST_F(DemultiplexerConfiguration, WithoutConnectionOrDemultiplexerNothingHappens)
{
    avcPresent = true;
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

struct Program
{
    const char* fault;
    std::vector<VideoProbeRecord> videos;
    std::vector<AudioProbeRecord> audios;
    Pins expected;
    bool avcPresent = false;
};

class ConfiguredProgram : public DemultiplexerConfiguration, public ::testing::WithParamInterface<Program>
{
};

TEST_P(ConfiguredProgram, PinsNamesAndMappings)
{
    const Program& program = GetParam();
    SCOPED_TRACE(program.fault);
    EXPECT_HRESULT(S_OK, configure(program.videos, program.audios));
    EXPECT_EQ(program.expected, pins());
    EXPECT_EQ(program.avcPresent, avcPresent);
}

const Program kPrograms[] = {
    {"an empty record does not end its list",
     {video(1, 2), video(0, 2), video(3, 2)},
     {audio(0, 3), audio(5, 3)},
     {"MPEG2_0 video 1 elementary"}},
    {"an unknown video type takes no index, or MPEG-2 video is mapped without a look at its stream_id",
     {video(1, 2, 0xBD), video(2, 0x10), video(3, 1, 0xBD)},
     {},
     {"MPEG2_0 video 1 payload", "MPEG1_2 video 3 elementary"}},
    {"the digit counts per prefix, layer II of stream_type 4 is relabelled, or AAC under it is not, with its defaults",
     {},
     {audio(7, 3), audio(8, 0x81), audio(9, 4, 2), audio(5, 4, 1), kUnknownAudio},
     {"AUDIO_0 audio 7 elementary" + kMpeg1, "AC3_1 audio 8 elementary" + kAc3,
      "AUDIO_2 audio 9 elementary: MEDIASUBTYPE_MPEG2_AUDIO 5 x 20 bit, 44100 Hz, 24000 byte/s",
      "AUDIO_3 audio 5 elementary: MEDIASUBTYPE_RAW_AAC1 5 x 20 bit, 44100 Hz, 192000 byte/s",
      "AUDIO_4 audio 6 elementary: MEDIASUBTYPE_RAW_AAC1 2 x 16 bit, 48000 Hz, 192000 byte/s"}},
    {"audio beside AVC not mapped as payload, AAC described as PES data or by its header, or a wrong name",
     {video(1, 0x1B)},
     {audio(2, 0x0F), audio(3, 0x11), audio(4, 6), audio(5, 0x80, 0, 1), audio(6, 3)},
     {"H264_0 PES 1 payload", "AUDIO_0 audio 2 payload: MEDIASUBTYPE_RAW_AAC1 2 x 16 bit, 48000 Hz, 28000 byte/s",
      "AUDIO_1 audio 3 payload: 'LATM' 2 x 16 bit, 48000 Hz, 28000 byte/s", "AC3_2 PES 4 payload" + kAc3,
      "LPCM_3 PES 5 payload" + kLpcm, "AUDIO_4 PES 6 payload" + kMpeg1},
     true},
    {"any AVC stream decides for the audio, not the last video stream",
     {video(1, 0x1B), video(2, 2)},
     {audio(3, 3), audio(4, 0x80, 0, 1)},
     {"H264_0 PES 1 payload", "MPEG2_1 video 2 elementary", "AUDIO_0 audio 3 elementary" + kMpeg1,
      "LPCM_1 PES 4 payload" + kLpcm}},
};
INSTANTIATE_TEST_SUITE_P(Of, ConfiguredProgram, ::testing::ValuesIn(kPrograms));

TEST_F(DemultiplexerConfiguration, OnlyTheLastAudioPinsFailureCounts)
{
    const struct
    {
        const char* fault;
        const wchar_t* refused;
        std::uint16_t lastPid;
        HRESULT expected;
        Pins configured;
    } cases[] = {
        {"a video pin's failure is reported, or ends the run", L"MPEG2_0", 3, S_OK,
         Pins{"MPEG2_0 video", "AUDIO_0 audio 2 elementary" + kMpeg1, "AUDIO_1 audio 3 elementary" + kMpeg1}},
        {"an earlier audio pin's failure is reported", L"AUDIO_0", 3, S_OK,
         Pins{"MPEG2_0 video 1 elementary", "AUDIO_0 video", "AUDIO_1 audio 3 elementary" + kMpeg1}},
        {"the last audio pin is missing and nobody says so", L"AUDIO_1", 3, E_FAIL,
         Pins{"MPEG2_0 video 1 elementary", "AUDIO_0 audio 2 elementary" + kMpeg1, "AUDIO_1 video"}},
        {"MapPID's own result is lost", L"AUDIO_9", 0x2000, E_INVALIDARG,
         Pins{"MPEG2_0 video 1 elementary", "AUDIO_0 audio 2 elementary" + kMpeg1, "AUDIO_1 audio" + kMpeg1,
              "AUDIO_9 video"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        const ComPtr<IPin> refused = createPin(c.refused);  // in use, it can be neither deleted nor replaced
        EXPECT_HRESULT(S_OK, refused->Connect(&sink.input, nullptr));
        EXPECT_HRESULT(S_OK, filter->Pause());
        EXPECT_HRESULT(c.expected, configure({video(1, 2)}, {audio(2, 3), audio(c.lastPid, 3)}));
        EXPECT_EQ(c.configured, pins());
        EXPECT_HRESULT(S_OK, filter->Stop());
        EXPECT_HRESULT(S_OK, deletePin(c.refused));
    }
}

}  // namespace zarnow::test
