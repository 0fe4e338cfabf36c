#include <algorithm>
#include <array>

#include "analysis/psi_parser.h"

namespace zarnow {

namespace {

constexpr std::uint8_t kPatTableId = 0x00;
constexpr std::uint8_t kPmtTableId = 0x02;
constexpr std::uint16_t kPatHeaderKey = 0;
constexpr std::size_t kSectionHeaderSize = 12;  // up to the first entry's end (PAT) or beginning (PMT)
constexpr std::size_t kFirstProgramOffset = 8;
constexpr std::size_t kProgramEntrySize = 4;
constexpr std::int32_t kStreamEntrySize = 5;  // without its descriptors

std::uint16_t pidAt(Bytes bytes, std::size_t offset) noexcept
{
    return static_cast<std::uint16_t>(bigEndian16(bytes, offset) & kPidMask);
}

std::int32_t length12At(Bytes bytes, std::size_t offset) noexcept
{
    return static_cast<std::int32_t>(bigEndian16(bytes, offset) & 0x0FFF);
}

/// Field names as in ISO/IEC 13818-1, table 2-33. The view starts at table_id and has the 12 header bytes.
struct MapSection
{
    Bytes bytes;

    std::int32_t sectionLength() const noexcept { return length12At(bytes, 1); }
    std::uint16_t programNumber() const noexcept { return static_cast<std::uint16_t>(bigEndian16(bytes, 3)); }
    std::int32_t firstEntry() const noexcept
    {
        return static_cast<std::int32_t>(kSectionHeaderSize) + length12At(bytes, 10);
    }
};

/// Appends stream entries to the table while they lie whole in the block.
class StreamEntryReader
{
public:
    StreamEntryReader(std::vector<PsiEntry>& streams, std::uint16_t pmtPid, std::uint16_t programNumber) noexcept
        : streams_(streams), pmtPid_(pmtPid), programNumber_(programNumber)
    {
    }

    /// @param offset  position counted by the section's own lengths; moves on with `position`
    /// @param limit   the offset's bound: an entry is taken while five bytes are left before it
    void takeWhile(Bytes bytes, std::size_t& position, std::int32_t& offset, std::int32_t limit)
    {
        while (limit - offset >= kStreamEntrySize && position + kStreamEntrySize <= bytes.size()) {
            const std::int32_t size = take(bytes.subspan(position, kStreamEntrySize));
            offset += size;
            position += static_cast<std::size_t>(size);
        }
    }

    /// Takes the entry that the first packet's end has split, or moves past descriptors that ran over it.
    /// @param head      the first packet's bytes from the entry on
    /// @param headSize  how many of them belong to the entry; 0 or less: that many bytes to move past
    /// @param position  where the next packet's payload begins; moves on
    /// @return false when the block ends inside the entry
    bool takeSplit(Bytes head, std::int32_t headSize, Bytes packet, std::size_t& position, std::int32_t& offset)
    {
        if (headSize <= 0) {
            position += static_cast<std::size_t>(-headSize);
            return true;
        }
        const auto missing = static_cast<std::size_t>(kStreamEntrySize - headSize);
        if (position + missing > packet.size())
            return false;
        std::array<std::uint8_t, kStreamEntrySize> entry{};
        std::copy_n(packet.data() + position, missing, std::copy_n(head.data(), headSize, entry.data()));
        // Kept: the section's own count moves on by no more than the position does, the head left out.
        const std::int32_t size = take(entry) - headSize;
        offset += size;
        position += static_cast<std::size_t>(size);
        return true;
    }

private:
    /// @return the entry's size with its descriptors, which are skipped unread
    std::int32_t take(Bytes entry)
    {
        streams_.push_back({.pid = pidAt(entry, 1),
                            .pmtPid = pmtPid_,
                            .streamType = entry[0],
                            .reserved = 0,
                            .programNumber = programNumber_});
        return kStreamEntrySize + length12At(entry, 3);
    }

    std::vector<PsiEntry>& streams_;
    std::uint16_t pmtPid_;
    std::uint16_t programNumber_;
};

/// Where a section goes on in a further packet.
/// Kept: one byte short of the rule for a first packet, and no pointer_field is skipped.
std::size_t continuationOffset(const std::uint8_t* packet) noexcept
{
    const bool adaptation = adaptationControl(packet) == AdaptationControl::both;
    return kPacketHeaderSize + (adaptation ? packet[4] : 0);
}

}  // namespace

/// A packet that starts a payload unit of a table's PID, and what was found in it.
struct CPSIParser::SectionCandidate
{
    enum class State { section, rejected, noPayload };

    State state = State::rejected;
    Bytes packet;            ///< from the sync byte to the block's end
    std::size_t offset = 0;  ///< of table_id in it

    Bytes section() const noexcept { return packet.subspan(offset); }
    void locate(std::uint32_t sizeOfPacket, std::uint8_t tableId) noexcept;
};

void CPSIParser::SectionCandidate::locate(std::uint32_t sizeOfPacket, std::uint8_t tableId) noexcept
{
    state = State::noPayload;
    if (!hasPayload(packet.data()))
        return;
    state = State::rejected;
    const auto payload = static_cast<std::size_t>(payloadOffset(packet.data()));
    if (payload - kPacketHeaderSize > sizeOfPacket || payload >= packet.size())
        return;
    const std::size_t pointerSize = packet[payload] + std::size_t{1};  // pointer_field and the bytes it skips
    offset = payload + pointerSize;
    if (pointerSize > sizeOfPacket || offset + kSectionHeaderSize > packet.size())
        return;
    if (packet[offset] == tableId)
        state = State::section;
}

/// Finds the next candidate; `rest` then begins one byte behind its sync byte, so that the following search finds
/// its footing anew.
bool CPSIParser::nextSectionCandidate(Bytes& rest, std::uint16_t headerKey, std::uint8_t tableId,
                                      SectionCandidate& candidate)
{
    const std::uint8_t* packet = nullptr;
    if (!findNextPacket(rest.data(), static_cast<std::int32_t>(rest.size()), withUnitStart(headerKey), packet))
        return false;
    candidate.packet = rest.subspan(static_cast<std::size_t>(packet - rest.data()));
    candidate.locate(packetSize, tableId);
    rest = candidate.packet.subspan(1);
    return true;
}

bool CPSIParser::parsePat(const std::uint8_t* buffer, std::int32_t length, bool& stillSearching)
{
    stillSearching = true;
    Bytes rest = bytesOf(buffer, length);
    SectionCandidate candidate;
    while (nextSectionCandidate(rest, kPatHeaderKey, kPatTableId, candidate)) {
        streamList.assign(1, PsiEntry{});  // streams of earlier map tables are void once a PAT is seen
        if (candidate.state == SectionCandidate::State::noPayload)
            return false;
        if (candidate.state == SectionCandidate::State::section) {
            const bool taken = takePrograms(candidate.section());
            stillSearching = !taken;
            return taken;
        }
    }
    return false;
}

bool CPSIParser::takePrograms(Bytes section)
{
    const std::size_t before = programList.size();
    // Kept: only the low 8 bits of section_length count, so a table of more than 255 bytes is read in part.
    const std::int32_t furtherEntries = (section[2] - 9) / 4 - 1;
    const std::uint16_t firstPid = pidAt(section, kFirstProgramOffset + 2);
    const auto firstNumber = static_cast<std::uint16_t>(bigEndian16(section, kFirstProgramOffset));
    if (firstNumber != 0 && firstPid != kNullPid) {
        // Kept: the first program stands in the stream table too.
        streamList.push_back({.pid = firstPid, .programNumber = firstNumber});
        addProgram(firstPid, firstNumber);
    }
    std::size_t position = kSectionHeaderSize;
    for (std::int32_t i = 0; i < furtherEntries && position + kProgramEntrySize <= section.size(); ++i) {
        const std::uint16_t pid = pidAt(section, position + 2);
        // Kept: a network PID (program_number 0) is told apart in the first place only.
        if (pid != kNullPid)
            addProgram(pid, static_cast<std::uint16_t>(bigEndian16(section, position)));
        position += kProgramEntrySize;
    }
    return programList.size() > before;
}

void CPSIParser::addProgram(std::uint16_t pid, std::uint16_t programNumber)
{
    programList.push_back({.pid = pid, .pmtPid = pid, .programNumber = programNumber});
    selectIfNone(pid, programNumber);
}

void CPSIParser::selectIfNone(std::uint16_t pmtPid, std::uint16_t programNumber) noexcept
{
    if (currentPmtPid != 0)
        return;
    currentPmtPid = pmtPid;
    currentProgramNumber = programNumber;
}

/// Finds the first map section that `accept` takes; a packet without payload ends the search.
template <class Accept>
bool CPSIParser::findMapSection(Bytes block, std::uint16_t headerKey, SectionCandidate& candidate, Accept accept)
{
    while (nextSectionCandidate(block, headerKey, kPmtTableId, candidate)) {
        if (candidate.state == SectionCandidate::State::noPayload)
            return false;
        if (candidate.state == SectionCandidate::State::section && accept(MapSection{candidate.section()}))
            return true;
    }
    return false;
}

bool CPSIParser::parsePmt(const std::uint8_t* buffer, std::int32_t length, std::uint16_t headerKey,
                          bool& stillSearching)
{
    stillSearching = true;
    SectionCandidate candidate;
    const auto entriesBeginInPacket = [&](const MapSection& section) {
        return candidate.offset + static_cast<std::size_t>(section.firstEntry()) <= packetSize;
    };
    if (!findMapSection(bytesOf(buffer, length), headerKey, candidate, entriesBeginInPacket) ||
        !takeStreamsOfPid(candidate, headerKey))
        return false;
    stillSearching = false;
    return true;
}

/// The entries of a section that begins in this packet and may go on in one further packet of the PID.
/// @return false when that packet turned out to have no payload
bool CPSIParser::takeStreamsOfPid(const SectionCandidate& candidate, std::uint16_t headerKey)
{
    const MapSection section{candidate.section()};
    StreamEntryReader reader(streamList, pidOfHeaderKey(headerKey), section.programNumber());
    const std::int32_t sectionLength = section.sectionLength();
    const auto available = static_cast<std::int32_t>(packetSize - candidate.offset);
    const std::int32_t limit = std::min(sectionLength, available);
    std::int32_t offset = section.firstEntry();
    auto position = static_cast<std::size_t>(offset);
    reader.takeWhile(section.bytes, position, offset, limit);
    if (sectionLength <= available)
        return true;

    // Kept: the packet that the section goes on in has to start a payload unit as well.
    const Bytes rest = candidate.packet.subspan(1);
    const std::uint8_t* next = nullptr;
    if (!findNextPacket(rest.data(), static_cast<std::int32_t>(rest.size()), withUnitStart(headerKey), next))
        return true;
    if (!hasPayload(next))
        return false;
    const Bytes packet = rest.subspan(static_cast<std::size_t>(next - rest.data()));
    std::size_t onward = continuationOffset(next);
    if (reader.takeSplit(section.bytes.subspan(std::min(position, section.bytes.size())), limit - offset, packet,
                         onward, offset))
        reader.takeWhile(packet, onward, offset, sectionLength);
    return true;
}

bool CPSIParser::parsePmtForProgram(const std::uint8_t* buffer, std::int32_t length, std::uint16_t headerKey,
                                    std::uint16_t programNumber, bool& stillSearching)
{
    stillSearching = true;
    SectionCandidate candidate;
    const auto isOfProgram = [=](const MapSection& section) { return section.programNumber() == programNumber; };
    if (!findMapSection(bytesOf(buffer, length), headerKey, candidate, isOfProgram))
        return false;
    const MapSection section{candidate.section()};
    StreamEntryReader reader(streamList, pidOfHeaderKey(headerKey), programNumber);
    std::int32_t offset = section.firstEntry();
    auto position = static_cast<std::size_t>(offset);
    reader.takeWhile(section.bytes, position, offset, section.sectionLength() + 3);
    stillSearching = false;
    return true;
}

}  // namespace zarnow
