/// @file
/// A load and its selections as they are laid down: every search from the file's beginning, every block read in order,
/// nothing kept. Slow, and the measure of what the filter's shortcuts may give.
#pragma once

#include <string>

#include "esparse/program_selection.h"

namespace zarnow::test {

struct PlainSelection : CProgramSelection
{
    bool plainLoad(const CTransportFile::PathChar* path);
    bool plainTables();
    void plainSelectProgram(const PsiEntry& program);
    void plainProbes();
    double plainDuration(std::uint16_t pid);

private:
    bool readAssociation(std::uint32_t size);
    bool readMaps(std::uint32_t size);
    void prune();
    bool playable(const PsiEntry& program) const;
    bool accepts(Bytes payload, VideoProbeRecord& record, bool avc);
    bool probeVideo(std::uint16_t pid, VideoProbeRecord& record, bool avc);
    bool probeAudio(std::uint16_t pid, std::uint8_t type, AudioProbeRecord& record, bool lpcmMode);
};

/// Compares tables, records with whatever earlier searches left in them, AVC facts, and the selected program.
/// @return the names of those that differ; empty when none does
std::string differenceOf(const CProgramSelection& selection, const CProgramSelection& plain);

}  // namespace zarnow::test
