#include "tools/demultiplexer/pes_payload_reader.h"

#include <algorithm>

#include "tools/demultiplexer/pes_header.h"

namespace demux {

void PesPayloadReader::push(Bytes sample, ByteConsumer& consumer)
{
    if (startsNextPacket(sample)) {
        header_.clear();
        state_ = State::kInHeader;
    }
    while (!sample.empty())
        sample = step(sample, consumer);
}

void PesPayloadReader::reset() noexcept
{
    header_.clear();
    state_ = State::kSearching;
}

bool PesPayloadReader::startsNextPacket(Bytes sample) const noexcept
{
    if (!startsPesPacket(sample))
        return false;
    return state_ == State::kSearching || (sample.size() > 3 && sample[3] == streamId_);
}

PesPayloadReader::Bytes PesPayloadReader::step(Bytes bytes, ByteConsumer& consumer)
{
    switch (state_) {
        case State::kInHeader:
            return collectHeader(bytes);
        case State::kInPayload:
            return takePayload(bytes, consumer);
        case State::kSearching:
            break;
    }
    return {};
}

PesPayloadReader::Bytes PesPayloadReader::collectHeader(Bytes bytes)
{
    const std::size_t carried = header_.size();
    const std::size_t count = std::min(bytes.size(), kPesHeaderMax - carried);
    header_.insert(header_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
    return startPayload(bytes, carried);
}

PesPayloadReader::Bytes PesPayloadReader::startPayload(Bytes bytes, std::size_t carried)
{
    PesHeader header;
    const PesParse parsed = parsePesHeader(header_, header);
    if (parsed == PesParse::kNeedsMore)
        return {};
    header_.clear();
    if (parsed == PesParse::kInvalid) {
        state_ = State::kSearching;
        return {};
    }
    state_ = State::kInPayload;
    streamId_ = header.streamId;
    open_ = header.packetSize == 0;
    remaining_ = open_ ? 0 : header.packetSize - header.headerSize;
    carriesStream_ = header.carriesStream;
    return bytes.subspan(header.headerSize - carried);
}

PesPayloadReader::Bytes PesPayloadReader::takePayload(Bytes bytes, ByteConsumer& consumer)
{
    if (!open_ && remaining_ == 0) {
        state_ = State::kInHeader;
        return bytes;
    }
    const std::size_t count = open_ ? bytes.size() : std::min(remaining_, bytes.size());
    if (carriesStream_)
        consumer.consume(bytes.first(count));
    remaining_ -= open_ ? 0 : count;
    return bytes.subspan(count);
}

}  // namespace demux
