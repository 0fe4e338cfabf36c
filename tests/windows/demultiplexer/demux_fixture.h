/// @file
/// The demultiplexer between a source that the test drives and two sinks; PES packets, and pieces of streams.
#pragma once

#include <bdaiface.h>

#include <algorithm>
#include <map>

#include "tests/support/dice.h"
#include "tests/support/transport_stream.h"
#include "tests/windows/support/filter_module.h"
#include "tests/windows/support/framework_test.h"
#include "tests/windows/support/sink_filter.h"
#include "tools/common/find_pin.h"
#include "tools/demultiplexer/demultiplexer.h"

namespace zarnow::test {

constexpr std::uint16_t kVideo = 0x100;
constexpr std::uint16_t kAudio = 0x101;

/// Bytes that differ along the way and from seed to seed, so that a lost or doubled piece is seen.
inline Data noise(unsigned size, unsigned seed)
{
    return Dice(seed).bytes(size);
}

/// A second for each seed. The 33 bits of the counter end between the first two.
inline std::int64_t ticksOf(unsigned seed)
{
    return std::int64_t{90'000} * seed - 180'000;
}

/// A PES packet that ends where the next one starts.
inline Data video(unsigned seed, unsigned size = 500)
{
    return pes(0xE0, noise(size, seed), ticksOf(seed));
}

/// A PES packet with a length, half a second and a tick later.
inline Data audio(unsigned seed, unsigned size = 300)
{
    const Data packet = pes(0xC0, noise(size, seed), ticksOf(seed) + 45'001);
    const std::size_t length = packet.size() - 6;
    return withByte(withByte(packet, 4, static_cast<std::uint8_t>(length >> 8)), 5, static_cast<std::uint8_t>(length));
}

/// Pieces of one size; the last one may be shorter.
inline std::vector<Data> cut(const Data& whole, std::size_t size)
{
    std::vector<Data> pieces;
    for (std::size_t at = 0; at < whole.size(); at += size)
        pieces.push_back(bytesFrom(whole, at, std::min(size, whole.size() - at)));
    return pieces;
}

/// Delivers what it is given, on the caller's thread.
struct Source final : CBaseOutputPin
{
    explicit Source(SinkFilter& owner) : CBaseOutputPin(nullptr, &owner, &owner.lock, &owner.created, L"Out") {}
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override
    {
        *request = {1, 1 << 20, 1, 0};
        return allocator->SetProperties(request, request);
    }

    HRESULT push(const Data& bytes, bool discontinuity = false)
    {
        ComPtr<IMediaSample> sample;
        EXPECT_HRESULT(S_OK, GetDeliveryBuffer(sample.GetAddressOf(), nullptr, nullptr, 0));
        BYTE* data = nullptr;
        sample->GetPointer(&data);
        EXPECT_HRESULT(S_OK, sample->SetActualDataLength(static_cast<long>(bytes.size())));
        std::ranges::copy(bytes, data);
        sample->SetDiscontinuity(discontinuity ? TRUE : FALSE);
        return Deliver(sample.Get());
    }
};

/// Types of output pins, told apart by the sample size.
inline CMediaType pinType(ULONG sampleSize = 1)
{
    return mediaType(MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO, sampleSize);
}

class Demultiplexer : public FrameworkTest
{
protected:
    Demultiplexer()
    {
        EXPECT_HRESULT(S_OK, demux::createDemultiplexer(filter.GetAddressOf()));
        demultiplexer = query<IMpeg2Demultiplexer>(filter.Get());
        input = findPin(*filter.Get(), PINDIR_INPUT);
    }
    ~Demultiplexer() override
    {
        stop();
        for (CBasePin* pin : std::initializer_list<CBasePin*>{&source, &first.input, &second.input}) {
            if (IPin* const peer = pin->GetConnected())
                peer->Disconnect();
            pin->Disconnect();
        }
    }

    HRESULT create(const wchar_t* name, ComPtr<IPin>& pin, CMediaType type = pinType())
    {
        return demultiplexer->CreateOutputPin(&type, const_cast<LPWSTR>(name), pin.ReleaseAndGetAddressOf());
    }
    HRESULT remove(const wchar_t* name) { return demultiplexer->DeleteOutputPin(const_cast<LPWSTR>(name)); }
    HRESULT setType(const wchar_t* name, CMediaType type)
    {
        return demultiplexer->SetOutputPinMediaType(const_cast<LPWSTR>(name), &type);
    }
    /// A connected pin for one PID.
    ComPtr<IPin> connectPin(const wchar_t* name, ULONG pid, MEDIA_SAMPLE_CONTENT content, SinkFilter& sink)
    {
        ComPtr<IPin> pin;
        EXPECT_HRESULT(S_OK, create(name, pin));
        EXPECT_HRESULT(S_OK, query<IMPEG2PIDMap>(pin.Get())->MapPID(1, &pid, content));
        EXPECT_HRESULT(S_OK, pin->Connect(&sink.input, nullptr));
        return pin;
    }
    /// Connects the source.
    void play()
    {
        CMediaType type = transportStreamType();
        type.SetFormatType(&FORMAT_None);  // so that it is complete
        EXPECT_HRESULT(S_OK, source.Connect(input.Get(), &type));
        run();
    }
    /// A video pin at the first sink, an audio pin at the second, everything running.
    void playBoth()
    {
        connectPin(L"V", kVideo, MEDIA_ELEMENTARY_STREAM, first);
        connectPin(L"A", kAudio, MEDIA_ELEMENTARY_STREAM, second);
        play();
    }
    void run()
    {
        for (IBaseFilter* each : std::initializer_list<IBaseFilter*>{&first, &second, filter.Get()})
            EXPECT_HRESULT(S_OK, each->Run(0));
        source.Active();
    }
    void stop()
    {
        source.Inactive();
        for (IBaseFilter* each : std::initializer_list<IBaseFilter*>{filter.Get(), &first, &second})
            EXPECT_HRESULT(S_OK, each->Stop());
    }
    void push(std::initializer_list<Data> parts) { EXPECT_HRESULT(S_OK, source.push(join(parts))); }
    void end() { EXPECT_HRESULT(S_OK, source.DeliverEndOfStream()); }
    /// In transport packets whose continuity counters go on.
    Data packets(std::uint16_t pid, const Data& unit)
    {
        Data packets = pesPackets(pid, unit);
        for (std::size_t at = 3; at < packets.size(); at += kPacket)
            packets[at] = static_cast<std::uint8_t>(packets[at] | (counters[pid]++ & 0x0F));
        return packets;
    }
    Data v(unsigned seed, unsigned size = 500) { return packets(kVideo, video(seed, size)); }
    Data a(unsigned seed) { return packets(kAudio, audio(seed)); }

    SinkFilter upstream;
    Source source{upstream};
    SinkFilter first;
    SinkFilter second;
    ComPtr<IBaseFilter> filter;
    ComPtr<IMpeg2Demultiplexer> demultiplexer;
    ComPtr<IPin> input;
    std::map<std::uint16_t, std::uint8_t> counters;
};

}  // namespace zarnow::test
