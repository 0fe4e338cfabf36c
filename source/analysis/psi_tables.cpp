#include <algorithm>
#include <bitset>

#include "analysis/psi_parser.h"
#include "analysis/stream_type.h"

namespace zarnow {

namespace {

bool matchesType(std::uint8_t wanted, std::uint8_t type) noexcept
{
    return wanted == stream_type::kFirstUserPrivate ? type >= stream_type::kFirstUserPrivate : type == wanted;
}

}  // namespace

bool CPSIParser::getProgram(std::uint32_t index, std::uint16_t& pmtPid, std::uint16_t* programNumber) const noexcept
{
    if (index >= programList.size())
        return false;
    pmtPid = programList[index].pmtPid;
    if (programNumber != nullptr)
        *programNumber = programList[index].programNumber;
    return true;
}

std::uint32_t CPSIParser::countStreams(std::uint16_t pmtPid, std::uint16_t programNumber) const noexcept
{
    const auto owned = [=](const PsiEntry& stream) { return stream.belongsTo(pmtPid, programNumber); };
    return static_cast<std::uint32_t>(std::count_if(streamList.begin(), streamList.end(), owned));
}

bool CPSIParser::getStream(std::uint32_t index, std::uint16_t pmtPid, std::uint16_t programNumber,
                           std::uint8_t& streamType, std::uint16_t& pid) const noexcept
{
    for (const PsiEntry& stream : streamList) {
        if (!stream.belongsTo(pmtPid, programNumber) || index-- != 0)
            continue;
        streamType = stream.streamType;
        pid = stream.pid;
        return true;
    }
    return false;
}

bool CPSIParser::findStreamByType(std::uint32_t index, std::uint8_t streamType, std::uint16_t& pid,
                                  std::uint8_t& foundType) const noexcept
{
    for (const PsiEntry& stream : streamList) {
        const bool inScope = streamType == 0 || stream.belongsTo(currentPmtPid, currentProgramNumber);
        if (!inScope || !matchesType(streamType, stream.streamType) || index-- != 0)
            continue;
        pid = stream.pid;
        foundType = stream.streamType;
        return true;
    }
    return false;
}

bool CPSIParser::removeProgram(std::uint32_t index, std::uint16_t pmtPid, std::uint16_t programNumber)
{
    if (index >= programList.size() || !programList[index].belongsTo(pmtPid, programNumber))
        return false;
    programList.erase(programList.begin() + static_cast<std::ptrdiff_t>(index));
    return true;
}

bool CPSIParser::removeDuplicateStreams(std::uint16_t pmtPid, std::uint16_t programNumber)
{
    std::bitset<0x10000> seen;
    std::erase_if(streamList, [&](const PsiEntry& stream) {
        if (!stream.belongsTo(pmtPid, programNumber))
            return false;
        const bool repeated = seen[stream.pid];
        seen[stream.pid] = true;
        return repeated;
    });
    return true;
}

}  // namespace zarnow
