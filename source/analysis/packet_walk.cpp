#include "analysis/packet_walk.h"

#include "analysis/byte_search.h"

namespace zarnow {

namespace {

constexpr std::size_t kMinimumForPacketSize = 2000;
constexpr std::size_t kPacketSizeLookAhead = 400;  // room for the third sync byte at either packet size
constexpr std::size_t kSkipAfterOddSync = 184;     // a packet's length less its header
constexpr std::size_t kSkipAfterUnconfirmedSync = 185;
constexpr std::size_t kMinimumPacketsForSync = 5;
constexpr std::size_t kBackwardSyncRange = 1000;  // where the backward walk looks for its footing
constexpr std::size_t kMinimumPacketsForBackwardSync = 6;

bool isSync(Bytes bytes, std::size_t offset) noexcept
{
    return offset < bytes.size() && bytes[offset] == kSyncByte;
}

/// The first sync byte at or after the offset, or the range's end.
std::size_t nextSyncByte(Bytes bytes, std::size_t from, std::size_t end) noexcept
{
    return CSyncByte::find(bytes.first(end), from);
}

bool confirmsPacketSize(Bytes bytes, std::size_t at, std::size_t size) noexcept
{
    return isSync(bytes, at + size) && isSync(bytes, at + 2 * size);
}

/// Whether the sync byte is the first, the second or the third of three.
bool isOneOfThree(Bytes bytes, std::size_t at, std::size_t size) noexcept
{
    const bool before = at >= size && isSync(bytes, at - size);
    const bool twoBefore = before && at >= 2 * size && isSync(bytes, at - 2 * size);
    return twoBefore || (before && isSync(bytes, at + size)) || confirmsPacketSize(bytes, at, size);
}

}  // namespace

bool allSyncsOnGrid(Bytes block, std::size_t origin, std::size_t packetSize) noexcept
{
    std::size_t othersLeft = block.size() / packetSize;
    // Of three sync bytes, one lies in every third packet.
    for (std::size_t start = origin % packetSize + packetSize; start < block.size(); start += 3 * packetSize) {
        const std::size_t end = std::min(start + packetSize, block.size());
        if (!CSyncByte::standsIn(block.subspan(start + 1, end - start - 1)))
            continue;
        for (std::size_t i = nextSyncByte(block, start + 1, end); i < end; i = nextSyncByte(block, i + 1, end)) {
            if (othersLeft-- == 0 || isOneOfThree(block, i, packetSize))
                return false;
        }
    }
    return true;
}

bool CPSIParser::detectPacketSize(const std::uint8_t* buffer, std::int32_t length, std::uint32_t& size) noexcept
{
    size = kPacketSize;
    const Bytes bytes = bytesOf(buffer, length);
    if (bytes.size() <= kMinimumForPacketSize)
        return false;
    const std::size_t end = bytes.size() - kPacketSizeLookAhead;
    for (std::size_t i = nextSyncByte(bytes, 0, end); i < end; i = nextSyncByte(bytes, i + kSkipAfterOddSync, end)) {
        for (const std::uint32_t candidate : {kPacketSize, kTimedPacketSize}) {
            if (confirmsPacketSize(bytes, i, candidate)) {
                size = candidate;
                return true;
            }
        }
    }
    return false;
}

bool CPSIParser::findSync(const std::uint8_t* buffer, std::int32_t length, std::uint32_t& offset) const noexcept
{
    const Bytes bytes = bytesOf(buffer, length);
    const std::size_t end = bytes.size();
    if (end <= kMinimumPacketsForSync * packetSize)
        return false;
    for (std::size_t i = nextSyncByte(bytes, 0, end); i < end;
         i = nextSyncByte(bytes, i + kSkipAfterUnconfirmedSync, end)) {
        if (confirmsPacketSize(bytes, i, packetSize)) {
            offset = static_cast<std::uint32_t>(i);
            return true;
        }
    }
    return false;
}

bool CPSIParser::findNextPacket(const std::uint8_t* buffer, std::int32_t length, std::uint16_t headerKey,
                                const std::uint8_t*& packet) noexcept
{
    CPacketWalk walk(*this, bytesOf(buffer, length));
    std::uint32_t word = lastHeaderWord;
    bool found = false;
    while (const std::uint8_t* here = walk.next()) {
        word = maskedHeaderWord(here);
        found = matchesKey(static_cast<std::uint16_t>(word), headerKey);
        if (found) {
            packet = here;
            break;
        }
    }
    lastHeaderWord = word;
    return found;
}

bool CPSIParser::findLastPacket(const std::uint8_t* buffer, std::int32_t length, std::uint16_t headerKey,
                                const std::uint8_t*& packet) const noexcept
{
    const Bytes bytes = bytesOf(buffer, length);
    if (bytes.size() < packetSize)
        return false;
    std::size_t position = bytes.size() - packetSize;
    if (!isSync(bytes, position)) {
        if (bytes.size() <= kMinimumPacketsForBackwardSync * packetSize)
            return false;
        const std::size_t start = bytes.size() - kBackwardSyncRange;
        std::uint32_t offset = 0;
        if (!findSync(buffer + start, static_cast<std::int32_t>(kBackwardSyncRange), offset))
            return false;
        position = start + offset + std::size_t{2} * packetSize;  // the last of the three that confirmed it
    }
    for (; position >= 1; position = position > packetSize ? position - packetSize : 0) {
        const std::uint8_t* here = bytes.data() + position;
        if (here[0] != kSyncByte)
            return false;
        const bool headerWhole = position + 3 <= bytes.size();
        if (headerWhole && !isInError(here) && matchesKey(maskedHeaderWord(here), headerKey)) {
            packet = here;
            return true;
        }
    }
    return false;
}

}  // namespace zarnow
