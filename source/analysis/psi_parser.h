/// @file
/// Transport packets and program-specific information in a block of memory (ISO/IEC 13818-1, 2.4.3 and 2.4.4).
///
/// Everything here works on a caller's buffer, given as pointer and length in bytes; nothing reads a file and nothing
/// reads past the length. Results come through out-parameters, which stay untouched on failure.
#pragma once

#include <cstdint>
#include <vector>

#include "analysis/bytes.h"
#include "analysis/packet.h"

namespace zarnow {

/// One record for both tables. A program is always identified by the pair (PMT PID, program_number).
struct PsiEntry
{
    std::uint16_t pid = 0;        ///< program: the PMT PID; stream: the elementary PID
    std::uint16_t pmtPid = 0;     ///< program: the PMT PID again; stream: the owner's PMT PID
    std::uint8_t streamType = 0;  ///< stream: stream_type as it stands in the PMT (table 2-34)
    std::uint8_t reserved = 0;
    std::uint16_t programNumber = 0;

    bool belongsTo(std::uint16_t ownerPmtPid, std::uint16_t ownerNumber) const noexcept
    {
        return pmtPid == ownerPmtPid && programNumber == ownerNumber;
    }
};

class CPSIParser
{
public:
    CPSIParser() = default;
    CPSIParser(const CPSIParser&) = delete;
    CPSIParser& operator=(const CPSIParser&) = delete;
    virtual ~CPSIParser() = default;

    // Packets ----------------------------------------------------------------------------------------------------

    /// Whether packets lie 188 or 192 bytes apart; 188 also on failure. Needs more than 2000 bytes.
    static bool detectPacketSize(const std::uint8_t* buffer, std::int32_t length, std::uint32_t& size) noexcept;

    /// Offset of the first of three sync bytes one packet size apart. Needs more than five packets.
    bool findSync(const std::uint8_t* buffer, std::int32_t length, std::uint32_t& offset) const noexcept;

    /// Walks forward to the first packet of a PID. A packet that ends where the buffer ends is never looked at.
    /// @param headerKey  see headerKeyOfPid
    /// @param packet     out: its sync byte; more than one packet size of the buffer is left from there
    bool findNextPacket(const std::uint8_t* buffer, std::int32_t length, std::uint16_t headerKey,
                        const std::uint8_t*& packet) noexcept;

    /// Walks backward to the last packet of a PID. The packet at offset 0 is never looked at.
    /// @param packet  out: its sync byte; the packet may be cut off by the buffer's end
    bool findLastPacket(const std::uint8_t* buffer, std::int32_t length, std::uint16_t headerKey,
                        const std::uint8_t*& packet) const noexcept;

    // Time stamps, 90 kHz ticks; 0 means that there is none ---------------------------------------------------------

    /// The five bytes of a PTS or DTS field. Bit 32 is sign-extended: a stamp at or above 2^32 comes out negative.
    static bool parsePts(const std::uint8_t* field, std::int64_t& ticks) noexcept;

    /// The PTS of the PES header at the start of the buffer, or 0.
    static std::int64_t readPesPts(const std::uint8_t* pes, std::int32_t length) noexcept;

    /// The PTS of the first PES packet of that stream_id in the buffer, or 0.
    static std::int64_t findPesPts(const std::uint8_t* buffer, std::uint8_t streamId, std::int32_t length) noexcept;

    // Audio sync words --------------------------------------------------------------------------------------------

    /// Offset of the first AC-3 sync word, 0B 77 or with its bytes swapped (A/52, 5.3.1).
    static bool findAc3Sync(const std::uint8_t* buffer, std::int32_t length, std::uint32_t& offset) noexcept;

    /// Offset of the first 12-bit sync 0xFFF (ISO/IEC 11172-3, 2.4.1.3).
    static bool findMpegAudioSync(const std::uint8_t* buffer, std::int32_t length, std::uint32_t& offset) noexcept;

    // Tables ------------------------------------------------------------------------------------------------------

    /// Takes the programs of the first usable program association section.
    /// @param stillSearching  out: false once a program was taken
    /// @return whether a program was taken
    bool parsePat(const std::uint8_t* buffer, std::int32_t length, bool& stillSearching);

    /// Takes the streams of the first program map section on a PID, whatever its program_number. The section may go
    /// on in one further packet.
    /// @param stillSearching  out: false once a section was taken
    bool parsePmt(const std::uint8_t* buffer, std::int32_t length, std::uint16_t headerKey, bool& stillSearching);

    /// The same for the sections of one program only; the section is read on through the block.
    bool parsePmtForProgram(const std::uint8_t* buffer, std::int32_t length, std::uint16_t headerKey,
                            std::uint16_t programNumber, bool& stillSearching);

    /// @param programNumber  may be null
    bool getProgram(std::uint32_t index, std::uint16_t& pmtPid, std::uint16_t* programNumber) const noexcept;
    std::uint32_t countStreams(std::uint16_t pmtPid, std::uint16_t programNumber) const noexcept;
    bool getStream(std::uint32_t index, std::uint16_t pmtPid, std::uint16_t programNumber, std::uint8_t& streamType,
                   std::uint16_t& pid) const noexcept;

    /// The index-th stream of the selected program with that stream_type; 0x80 stands for 0x80 and above, and type 0
    /// is looked for in every program.
    /// @param foundType  out: the stream's own type
    bool findStreamByType(std::uint32_t index, std::uint8_t streamType, std::uint16_t& pid,
                          std::uint8_t& foundType) const noexcept;

    /// Removes the entry at that position if it is the named program.
    bool removeProgram(std::uint32_t index, std::uint16_t pmtPid, std::uint16_t programNumber);

    /// Keeps the first of repeated PIDs within one program.
    bool removeDuplicateStreams(std::uint16_t pmtPid, std::uint16_t programNumber);

    std::uint32_t lastHeaderWord = 0;  ///< masked header word of the last packet that findNextPacket looked at
    std::vector<PsiEntry> streamList;  ///< led by a zero entry once a program association table was seen
    std::vector<PsiEntry> programList;
    std::uint32_t packetSize = kPacketSize;
    std::uint16_t currentPmtPid = 0;  ///< of the selected program; 0: none yet
    std::uint16_t currentProgramNumber = 0;

private:
    struct SectionCandidate;

    bool nextSectionCandidate(Bytes& rest, std::uint16_t headerKey, std::uint8_t tableId, SectionCandidate& candidate);
    template <class Accept>
    bool findMapSection(Bytes block, std::uint16_t headerKey, SectionCandidate& candidate, Accept accept);
    bool takePrograms(Bytes section);
    void addProgram(std::uint16_t pid, std::uint16_t programNumber);
    bool takeStreamsOfPid(const SectionCandidate& candidate, std::uint16_t headerKey);
    void selectIfNone(std::uint16_t pmtPid, std::uint16_t programNumber) noexcept;
};

}  // namespace zarnow
