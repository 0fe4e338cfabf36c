// What the worker thread does: one read straight into each media sample's memory.

#include <algorithm>
#include <utility>

#include "filter/mpeg_transp_stream.h"

namespace zarnow {

namespace {

HRESULT endOfFile(IMediaSample& sample)
{
    sample.SetActualDataLength(0);
    return S_FALSE;
}

}  // namespace

HRESULT CMPEGTranspStream::FillBuffer(IMediaSample* pSample)
{
    CheckPointer(pSample, E_POINTER);
    BYTE* data = nullptr;
    const HRESULT result = pSample->GetPointer(&data);
    if (FAILED(result))
        return result;
    const long given = pSample->GetSize();
    const std::uint32_t size = given > 0 ? static_cast<std::uint32_t>(given) : readBufferSize;
    if (!file.isOpen())
        return E_FAIL;
    return analysed ? fillPacket(*pSample, data, size) : fillRaw(*pSample, data, size);
}

HRESULT CMPEGTranspStream::fillRaw(IMediaSample& sample, BYTE* data, std::uint32_t size)
{
    std::uint32_t count = 0;
    if (!file.read(data, size, count) || count == 0)
        return endOfFile(sample);
    return sample.SetActualDataLength(static_cast<long>(count));
}

/// Reads whole packet steps until one begins with a sync byte. With 192-byte packets this drops the next packet's
/// 4-byte prefix, so the stream leaves as plain 188-byte packets.
HRESULT CMPEGTranspStream::fillPacket(IMediaSample& sample, BYTE* data, std::uint32_t size)
{
    const std::uint32_t step = packetSize;
    if (size < step)
        return E_FAIL;
    for (;;) {
        std::uint32_t count = 0;
        if (!file.read(data, step, count) || count == 0)
            return endOfFile(sample);
        if (data[0] == kSyncByte)
            return sample.SetActualDataLength(static_cast<long>(std::min(count, kPacketSize)));
        gapLeft = isToldToStop();
        if (gapLeft)
            return endOfFile(sample);
        // Kept: on to one byte past the first sync byte in what was read, not onto it. Every turn moves on: by
        // one byte at least, or by the whole step.
        const auto sync = static_cast<std::int32_t>(std::find(data, data + count, kSyncByte) - data);
        file.moveBy(sync - static_cast<std::int32_t>(count) + 1);
    }
}

/// A gap in a file may be gigabytes long.
bool CMPEGTranspStream::isToldToStop()
{
    Command command = {};
    return CheckRequest(&command) && command == CMD_STOP;
}

HRESULT CMPEGTranspStream::DeliverEndOfStream()
{
    return std::exchange(gapLeft, false) ? S_OK : CSourceStream::DeliverEndOfStream();
}

}  // namespace zarnow
