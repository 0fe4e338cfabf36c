#include "tools/demultiplexer/elementary_stream_reader.h"

#include "tools/demultiplexer/pes_header.h"

namespace demux {

ElementaryPart ElementaryStreamReader::read(const UnitPart& part) noexcept
{
    if (!part.startsUnit)
        return inStream_ ? ElementaryPart{part.bytes, std::nullopt} : ElementaryPart{};
    PesHeader header;
    inStream_ = parsePesHeader(part.bytes, header) == PesParse::kDone && header.carriesStream;
    if (!inStream_)
        return {};
    return {part.bytes.subspan(header.headerSize), header.pts};
}

}  // namespace demux
