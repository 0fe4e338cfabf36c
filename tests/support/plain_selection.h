/// @file
/// A load and its selections as they are laid down: every search from the file's beginning, every block read in order,
/// nothing kept. Slow, and the measure of what the filter's shortcuts may give.
#pragma once

#include <string>

#include "esparse/program_selection.h"
#include "tests/support/data.h"

namespace zarnow::test {

struct PlainSelection : CProgramSelection
{
    void plainLoad(const CTransportFile::PathChar* path);
    /// @param measured  whether the duration is
    void plainSelectProgram(const PsiEntry& program, bool measured);

private:
    bool defaultTables();
    bool plainTables();
    void plainProbes();
    bool readAssociation(std::uint32_t size);
    bool readMaps(std::uint32_t size);
    void prune();
    bool playable(const PsiEntry& program) const;
    bool accepts(Bytes payload, VideoProbeRecord& record, bool avc);
    bool probeVideo(std::uint16_t pid, VideoProbeRecord& record, bool avc);
    double plainDuration(std::uint16_t pid);
    bool probeAudio(std::uint16_t pid, std::uint8_t type, AudioProbeRecord& record, bool lpcmMode);
};

/// By their names: tables, the selected program, records with whatever earlier searches left in them, AVC facts.
std::vector<std::pair<const char*, Data>> factsOf(const CProgramSelection& selection);

/// A selection and, where they are compared, a plain one, of which the same is asked.
struct SelectionPair
{
    void setReadBufferSize(std::uint32_t size);
    void setDefaultStreams(const DefaultPids& given);
    void load(const CTransportFile::PathChar* path);

    /// No duration is measured by number.
    /// @return whether there is such a program
    bool select(std::size_t index, bool byNumber = false);

    /// Reads the selection's video facts. The plain selection's, which should be the same, are read likewise.
    bool readVideoInfo(AvcStreamInfo& info);

    /// Selects every program, the first one by number or not, and reads its video facts.
    /// @return what differs; empty when nothing does
    std::string differenceInPrograms(bool firstByNumber = false);

    /// Whatever differs; empty when nothing does.
    std::string difference() const;

    bool compared = true;
    CProgramSelection selection;
    PlainSelection plain;
    bool sameVideoInfo = true;
};

}  // namespace zarnow::test
