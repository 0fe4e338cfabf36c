/// @file
/// Loading a file, selecting one of its programs, and describing what is in it.
#pragma once

#include <string>

#include "esparse/gop_scan.h"

namespace zarnow {

/// The PID layout that is assumed instead of reading program tables.
struct DefaultPids
{
    std::uint16_t pmtPid = 0x0100;
    std::uint16_t videoPid = 0x1011;
    std::uint16_t audioPid = 0x1100;
    std::uint16_t videoStreamType = 0x1B;
    std::uint16_t audioStreamType = 0x81;
};

struct LoadResult
{
    enum class Status { loaded, cannotOpen, noData };

    Status status = Status::loaded;
    std::uint32_t systemError = 0;  ///< with cannotOpen
};

class CProgramSelection : public CGopScan
{
public:
    /// Opens and analyses a file. A file that could not be analysed is loaded all the same, see `analysed`.
    /// @param path  null: the file that is already open
    LoadResult loadFile(const CTransportFile::PathChar* path);

    /// Forgets what the last load found; the file stays open.
    void resetAnalysis() noexcept;

    /// Probes the program's streams, measures the duration and configures the demultiplexer.
    /// @return false, with nothing changed, when there is no such program
    bool selectProgram(std::uint32_t index);

    /// The same without measuring the duration.
    bool selectProgramByNumber(std::uint16_t pmtPid, std::uint16_t programNumber);

    /// @param index  out: of the selected program; untouched on failure
    bool findCurrentProgram(std::uint32_t& index) const noexcept;

    /// The layout to assume at the next load; in force only while neither PID is 0.
    void setDefaultStreams(std::uint16_t pmtPid, std::uint16_t videoPid, std::uint16_t videoStreamType,
                           std::uint16_t audioPid, std::uint16_t audioStreamType) noexcept;

    /// A stream of the selected program in words.
    /// @return false, and an empty text, when it cannot be described
    bool describeStream(std::uint8_t streamType, std::uint16_t pid, std::string& text) const;

    /// Scans the selected program's AVC stream and completes the facts about it.
    /// @return false without an AVC stream, or when no scan reached a second sequence parameter set
    bool readVideoInfo(AvcStreamInfo& info);

    bool analysed = false;            ///< the tables are filled and a program is selected
    std::int64_t fileSize = 0;        ///< bytes; 0: unknown
    double durationSeconds = 4.0e12;  ///< of the selected program, once measured
    bool useDefaultPids = false;
    DefaultPids defaultPids;

protected:
    /// Called at the end of every load and selection. Others may select a program meanwhile.
    virtual void configureDemultiplexer() {}

private:
    bool analyse();
    void fillTablesFromDefaults();
    void pruneUnplayablePrograms();
    bool isPlayable(const PsiEntry& program) const noexcept;
    bool isListedAsVideo(std::uint16_t pid) const noexcept;
    bool isListedAsAudio(std::uint16_t pid) const noexcept;
    void probeProgram(const PsiEntry& program);
    void finishSelection();
    void completeBitRates() noexcept;
};

/// The name that a program is shown by.
std::string programName(std::uint16_t programNumber);

}  // namespace zarnow
