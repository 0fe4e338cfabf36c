#include "tools/demultiplexer/pid_map.h"

#include <algorithm>

#include "tools/demultiplexer/transport_packet.h"

namespace demux {
namespace {

bool allValid(std::span<const ULONG> pids)
{
    return std::ranges::all_of(pids, [](ULONG pid) { return pid < kPidCount; });
}

}  // namespace

HRESULT PidMap::map(std::span<const ULONG> pids, MEDIA_SAMPLE_CONTENT content)
{
    if (!allValid(pids) || (content != MEDIA_ELEMENTARY_STREAM && content != MEDIA_TRANSPORT_PAYLOAD))
        return E_INVALIDARG;
    for (const ULONG pid : pids)
        mapOne(pid, content);
    return S_OK;
}

HRESULT PidMap::unmap(std::span<const ULONG> pids)
{
    if (!allValid(pids))
        return E_INVALIDARG;
    for (const ULONG pid : pids)
        std::erase_if(entries_, [pid](const PID_MAP& entry) { return entry.ulPID == pid; });
    return S_OK;
}

void PidMap::mapOne(ULONG pid, MEDIA_SAMPLE_CONTENT content)
{
    const auto entry = std::ranges::find(entries_, pid, &PID_MAP::ulPID);
    if (entry == entries_.end())
        entries_.push_back({pid, content});
    else
        entry->MediaSampleContent = content;
}

}  // namespace demux
