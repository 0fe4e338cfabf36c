/// @file
/// What a load reads from the file before it looks into any elementary stream: the packet size, the first packet, and
/// the program and stream tables.
///
/// One thread at a time may be in here. The one thing another thread may touch is the stop flag `abortScan`.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "analysis/psi_parser.h"
#include "analysis/transport_file.h"

namespace zarnow {

inline constexpr std::uint32_t kDefaultReadBufferSize = 33000;  ///< bytes

class CFileScan : public CPSIParser
{
public:
    CFileScan() { setReadBufferSize(kDefaultReadBufferSize); }

    /// Any size is taken. One that cannot be allocated leaves no buffer, and every scan then fails.
    void setReadBufferSize(std::uint32_t size) noexcept;

    /// Sets `packetSize` from one of the first three buffers.
    bool detectFilePacketSize();

    /// Looks for the first confirmed sync byte in the next three buffers; the file position stays.
    /// @param offset  out: counted from the current position
    bool findSyncInFile(std::uint32_t& offset);

    /// Finds `startOffset` from the file's beginning and moves there; without one both are 0.
    bool rewindToData();

    /// Fills the program and stream tables.
    /// @return false when the file has no programs, or no program map of any of them, or the scan was stopped
    bool scanProgramTables();

    CTransportFile file;
    std::uint32_t readBufferSize = 0;            ///< of the analysis buffer and of each media sample
    std::unique_ptr<std::uint8_t[]> readBuffer;  ///< null when it could not be allocated
    std::uint32_t startOffset = 0;               ///< file offset of the first packet's sync byte
    std::atomic<bool> abortScan = false;         ///< ends every scan at its next block

protected:
    /// One block of the file in the read buffer.
    struct Block
    {
        Bytes bytes;
        bool full = false;  ///< false at the file's end

        const std::uint8_t* data() const noexcept { return bytes.data(); }
        std::int32_t length() const noexcept { return static_cast<std::int32_t>(bytes.size()); }
    };

    /// Reads on from the current position; the previous block's bytes are gone.
    /// @return false when nothing could be read at all: no buffer, no file, a failed read
    bool readBlock(std::uint32_t size, Block& block) noexcept;

private:
    class ProgramMapWalk;

    bool scanAssociationTable(std::uint32_t blockSize);
    bool scanProgramMaps(std::uint32_t blockSize);
    bool programsShareFirstPid() const noexcept;
    void foldDuplicateStreams();
};

}  // namespace zarnow
