#pragma once

#include <streams.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "tools/demultiplexer/pes_payload_reader.h"
#include "tools/tsgraph/output_file.h"

namespace tsgraph {

class WriterFilter;

class WriterPin final : public CBaseInputPin
{
public:
    WriterPin(WriterFilter& filter, CCritSec& lock, HRESULT* result);

    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    STDMETHODIMP Receive(IMediaSample* sample) override;
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP EndFlush() override;

private:
    WriterFilter& filter_;
};

/// Takes one stream of any type, counts its elementary bytes and writes them to a file when it is given one. Ends
/// the graph with EC_ERRORABORT when they cannot be written.
class WriterFilter final : public CBaseFilter, public IAMFilterMiscFlags, private demux::ByteConsumer
{
public:
    /// What the samples hold.
    enum class Content { kElementaryStream, kPesPackets };

    WriterFilter(Content content, HRESULT* result);

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &input_ : nullptr; }
    STDMETHODIMP Run(REFERENCE_TIME start) override;
    STDMETHODIMP Pause() override;

    /// So that the graph waits for our end of stream.
    STDMETHODIMP_(ULONG) GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_RENDERER; }

    /// To be called before the graph runs.
    HRESULT openFile(const std::wstring& path) { return file_.create(path); }

    /// To be called when the graph has stopped.
    /// @return what went wrong first with the file, S_OK for nothing
    HRESULT finish() noexcept;

    std::uint64_t bytes() const noexcept { return bytes_; }
    bool reachedEnd() const noexcept { return reachedEnd_; }

    IPin& input() noexcept { return input_; }

    // Streaming thread:
    HRESULT take(IMediaSample& sample);
    HRESULT endStream();
    void forgetPartialPacket() noexcept { packets_.reset(); }

private:
    void consume(std::span<const std::uint8_t> bytes) override;
    bool claimReport();
    void reportEnd();

    CCritSec lock_;
    WriterPin input_;
    const Content content_;
    demux::PesPayloadReader packets_;
    OutputFile file_;
    std::atomic<HRESULT> fileResult_ = S_OK;
    std::atomic<std::uint64_t> bytes_ = 0;
    std::atomic<bool> reachedEnd_ = false;
    bool endReported_ = false;
};

}  // namespace tsgraph
