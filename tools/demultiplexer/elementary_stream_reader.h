#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "tools/demultiplexer/payload_unit_assembler.h"

namespace demux {

/// Elementary-stream bytes of one unit part.
struct ElementaryPart
{
    std::span<const std::uint8_t> bytes;  ///< empty: nothing to deliver
    std::optional<std::int64_t> pts;      ///< of the access unit that starts in the bytes, 90 kHz ticks
};

/// Takes the PES header off the unit parts of one stream. A unit that is no PES packet, is padding or is scrambled
/// gives no bytes, nor do its further parts.
class ElementaryStreamReader
{
public:
    ElementaryPart read(const UnitPart& part) noexcept;

private:
    bool inStream_ = false;
};

}  // namespace demux
