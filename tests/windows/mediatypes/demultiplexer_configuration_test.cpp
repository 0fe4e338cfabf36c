// What the demultiplexer downstream is told, call by call.

#include "mediatypes/demultiplexer_configuration.h"

#include <gtest/gtest.h>

#include <bdaiface.h>

#include <map>
#include <string>
#include <vector>

#include "mediatypes/demultiplexer_pin.h"
#include "tests/windows/support/hresult.h"

namespace zarnow {

namespace {

using Calls = std::vector<std::string>;

std::string narrow(const wchar_t* text)
{
    std::string result;
    for (; *text != L'\0'; ++text)
        result += static_cast<char>(*text);
    return result;
}

/// How the demultiplexer behaves for a pin's name.
struct Behaviour
{
    bool noPin = false;
    bool noMap = false;
    HRESULT mapResult = S_OK;
};

class RecordingFilter;

/// Any pin: one that writes down what is mapped to it, or one connected without any negotiation.
class Pin final : public CBaseOutputPin, public IMPEG2PIDMap
{
public:
    DECLARE_IUNKNOWN

    explicit Pin(RecordingFilter& owner, const wchar_t* name = L"", IPin* peer = nullptr);
    ~Pin() override { m_Connected = nullptr; }  // was never counted

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT DecideBufferSize(IMemAllocator*, ALLOCATOR_PROPERTIES*) override { return E_NOTIMPL; }

    STDMETHODIMP MapPID(ULONG count, ULONG* pids, MEDIA_SAMPLE_CONTENT content) override;
    STDMETHODIMP UnmapPID(ULONG, ULONG*) override { return E_NOTIMPL; }
    STDMETHODIMP EnumPIDMap(IEnumPIDMap**) override { return E_NOTIMPL; }

    HRESULT created = S_OK;

private:
    RecordingFilter& owner_;
};

/// A filter that is a demultiplexer, or is none, and writes down the calls.
class RecordingFilter final : public CBaseFilter, public IMpeg2Demultiplexer
{
public:
    DECLARE_IUNKNOWN

    explicit RecordingFilter(bool demultiplexer)
        : CBaseFilter(nullptr, nullptr, &lock, CLSID_NULL), demultiplexer_(demultiplexer)
    {
        AddRef();  // lives on the test's stack
    }

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override
    {
        if (riid == IID_IMpeg2Demultiplexer && demultiplexer_)
            return GetInterface(static_cast<IMpeg2Demultiplexer*>(this), ppv);
        return CBaseFilter::NonDelegatingQueryInterface(riid, ppv);
    }
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int) override { return &input; }
    LONG references() const { return m_cRef; }

    STDMETHODIMP CreateOutputPin(AM_MEDIA_TYPE* type, LPWSTR name, IPin** pin) override
    {
        calls.push_back("create " + narrow(name));
        majorTypes[narrow(name)] = type->majortype;
        *pin = nullptr;
        if (behaviours[narrow(name)].noPin)
            return S_OK;
        pins.push_back(std::make_unique<Pin>(*this, name));
        *pin = pins.back().get();
        (*pin)->AddRef();
        return pins.back()->created;
    }
    STDMETHODIMP SetOutputPinMediaType(LPWSTR, AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP DeleteOutputPin(LPWSTR name) override
    {
        calls.push_back("delete " + narrow(name));
        return VFW_E_NOT_FOUND;
    }

    CCritSec lock;
    Pin input{*this};
    Calls calls;
    std::map<std::string, GUID> majorTypes;
    std::map<std::string, Behaviour> behaviours;
    std::vector<std::unique_ptr<Pin>> pins;

private:
    bool demultiplexer_;
};

Pin::Pin(RecordingFilter& owner, const wchar_t* name, IPin* peer)
    : CBaseOutputPin(nullptr, &owner, &owner.lock, &created, name), owner_(owner)
{
    m_Connected = peer;
}

STDMETHODIMP Pin::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (riid == IID_IMPEG2PIDMap && !owner_.behaviours[narrow(Name())].noMap)
        return GetInterface(static_cast<IMPEG2PIDMap*>(this), ppv);
    return CBaseOutputPin::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP Pin::MapPID(ULONG count, ULONG* pids, MEDIA_SAMPLE_CONTENT content)
{
    const char* kind = content == MEDIA_ELEMENTARY_STREAM   ? " elementary"
                       : content == MEDIA_TRANSPORT_PAYLOAD ? " payload"
                                                            : " ?";
    owner_.calls.push_back("map " + narrow(Name()) + " " + std::to_string(count) + "x" + std::to_string(*pids) + kind);
    return owner_.behaviours[narrow(Name())].mapResult;
}

VideoProbeRecord video(std::uint16_t pid, std::uint8_t streamType, std::uint8_t streamId = 0xE0)
{
    VideoProbeRecord record;
    record.pid = pid;
    record.streamType = streamType;
    record.streamId = streamId;
    return record;
}

AudioProbeRecord audio(std::uint16_t pid, std::uint8_t streamType, std::uint8_t isLpcm = 0)
{
    AudioProbeRecord record;
    record.pid = pid;
    record.streamType = streamType;
    record.isLpcm = isLpcm;
    return record;
}

const Calls kSweep{"delete MPEG2_0", "delete MPEG1_0", "delete AUDIO_0", "delete AC3_0",
                   "delete MPEG2_1", "delete MPEG1_1", "delete AUDIO_1", "delete AC3_1"};

Calls afterSweep(const Calls& calls)
{
    return calls.size() < kSweep.size()
               ? Calls{"(no sweep)"}
               : Calls(calls.begin() + static_cast<std::ptrdiff_t>(kSweep.size()), calls.end());
}

Calls pinCalls(const std::string& name, int pid, const std::string& kind)
{
    return {"delete " + name, "create " + name, "map " + name + " 1x" + std::to_string(pid) + " " + kind};
}

Calls joined(const std::vector<Calls>& lists)
{
    Calls all;
    for (const Calls& list : lists)
        all.insert(all.end(), list.begin(), list.end());
    return all;
}

class DemultiplexerConfiguration : public ::testing::Test
{
protected:
    HRESULT configure(RecordingFilter& filter, IPin* peer, const std::vector<VideoProbeRecord>& videos,
                      const std::vector<AudioProbeRecord>& audios)
    {
        Pin pin(filter, L"Out", peer);
        const LONG before = filter.references();
        const HRESULT configured = ConfigureDemultiplexer(&pin, {.video = videos, .audio = audios}, avcPresent);
        EXPECT_EQ(before, filter.references());
        return configured;
    }

    bool avcPresent = false;
};

}  // namespace

TEST_F(DemultiplexerConfiguration, WithoutConnectionOrDemultiplexerNothingHappens)
{
    RecordingFilter demultiplexer(true);
    EXPECT_HRESULT(VFW_E_NOT_CONNECTED, configure(demultiplexer, nullptr, {video(1, 2)}, {audio(2, 3)}));
    EXPECT_EQ(Calls{}, demultiplexer.calls);

    RecordingFilter other(false);
    avcPresent = true;
    EXPECT_HRESULT(S_OK, configure(other, &other.input, {video(1, 2)}, {audio(2, 3)}));
    EXPECT_EQ(Calls{}, other.calls);
    EXPECT_TRUE(avcPresent);
}

TEST_F(DemultiplexerConfiguration, PinsNamesAndMappings)
{
    const struct
    {
        const char* fault;
        std::vector<VideoProbeRecord> videos;
        std::vector<AudioProbeRecord> audios;
        Calls expected;
        bool avcPresent;
    } cases[] = {
        {"a program without streams does more than sweep", {}, {}, {}, false},
        {"an empty record does not end its list",
         {video(1, 2), video(0, 2), video(3, 2)},
         {audio(0, 3), audio(5, 3)},
         pinCalls("MPEG2_0", 1, "elementary"),
         false},
        {"the digit counts per prefix instead of per list",
         {},
         {audio(7, 3), audio(8, 0x81), audio(9, 4)},
         joined({pinCalls("AUDIO_0", 7, "elementary"), pinCalls("AC3_1", 8, "elementary"),
                 pinCalls("AUDIO_2", 9, "elementary")}),
         false},
        {"an unknown video type takes no index, or ends the list",
         {video(1, 2), video(2, 0x10), video(3, 2)},
         {},
         joined({pinCalls("MPEG2_0", 1, "elementary"), pinCalls("MPEG2_2", 3, "elementary")}),
         false},
        {"MPEG-2 video mapped without a look at its stream_id",
         {video(1, 2, 0xBD), video(2, 1, 0xBD)},
         {},
         joined({pinCalls("MPEG2_0", 1, "payload"), pinCalls("MPEG1_1", 2, "elementary")}),
         false},
        {"audio beside AVC not mapped as payload, or LATM and LPCM under a wrong name",
         {video(1, 0x1B)},
         {audio(2, 0x0F), audio(3, 0x11), audio(4, 6), audio(5, 0x80, 1)},
         joined({pinCalls("H264_0", 1, "payload"), pinCalls("AUDIO_0", 2, "payload"), pinCalls("AUDIO_1", 3, "payload"),
                 pinCalls("AC3_2", 4, "payload"), pinCalls("LPCM_3", 5, "payload")}),
         true},
        {"any AVC stream decides for the audio, not the last video stream",
         {video(1, 0x1B), video(2, 2)},
         {audio(3, 3), audio(4, 0x80, 1)},
         joined({pinCalls("H264_0", 1, "payload"), pinCalls("MPEG2_1", 2, "elementary"),
                 pinCalls("AUDIO_0", 3, "elementary"), pinCalls("LPCM_1", 4, "payload")}),
         false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        RecordingFilter filter(true);
        avcPresent = false;
        EXPECT_HRESULT(S_OK, configure(filter, &filter.input, c.videos, c.audios));
        EXPECT_EQ(kSweep, Calls(filter.calls.begin(), filter.calls.begin() + 8));
        EXPECT_EQ(c.expected, afterSweep(filter.calls));
        EXPECT_EQ(c.avcPresent, avcPresent);
    }
}

TEST_F(DemultiplexerConfiguration, MajorTypeOfAudioBesideAvc)
{
    RecordingFilter filter(true);
    EXPECT_HRESULT(S_OK,
                   configure(filter, &filter.input, {video(1, 0x1B)}, {audio(2, 3), audio(3, 0x0F), audio(4, 6)}));
    EXPECT_EQ(MEDIATYPE_MPEG2_PES, filter.majorTypes["AUDIO_0"]);
    EXPECT_EQ(MEDIATYPE_Audio, filter.majorTypes["AUDIO_1"]);
    EXPECT_EQ(MEDIATYPE_MPEG2_PES, filter.majorTypes["AC3_2"]);
}

TEST_F(DemultiplexerConfiguration, OnlyTheLastAudioPinsFailureCounts)
{
    const struct
    {
        const char* fault;
        const char* pin;
        Behaviour behaviour;
        HRESULT expected;
    } cases[] = {
        {"no video pin ends the run", "MPEG2_0", {.noPin = true}, S_OK},
        {"an earlier audio pin's failure is reported", "AUDIO_0", {.noMap = true}, S_OK},
        {"the last audio pin is missing and nobody says so", "AUDIO_1", {.noPin = true}, E_FAIL},
        {"a pin without PID map passes for a mapped one", "AUDIO_1", {.noMap = true}, E_FAIL},
        {"MapPID's own result is lost", "AUDIO_1", {.mapResult = E_OUTOFMEMORY}, E_OUTOFMEMORY},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        RecordingFilter filter(true);
        filter.behaviours[c.pin] = c.behaviour;
        EXPECT_HRESULT(c.expected, configure(filter, &filter.input, {video(1, 2)}, {audio(2, 3), audio(3, 3)}));
        for (const char* name : {"create MPEG2_0", "create AUDIO_0", "create AUDIO_1"})
            EXPECT_NE(filter.calls.end(), std::find(filter.calls.begin(), filter.calls.end(), name)) << name;
    }
}

}  // namespace zarnow
