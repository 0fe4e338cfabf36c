#pragma once

#include <windows.h>
#include <dshow.h>
#include <bdaiface.h>

#include <span>
#include <vector>

namespace demux {

/// The PIDs of one output pin with what is made of each, in the order in which they were mapped.
class PidMap
{
public:
    /// @return E_INVALIDARG, and nothing changed, when one of the PIDs or the content cannot be mapped
    HRESULT map(std::span<const ULONG> pids, MEDIA_SAMPLE_CONTENT content);
    HRESULT unmap(std::span<const ULONG> pids);

    const std::vector<PID_MAP>& entries() const noexcept { return entries_; }

private:
    void mapOne(ULONG pid, MEDIA_SAMPLE_CONTENT content);

    std::vector<PID_MAP> entries_;
};

/// Creates an enumerator over a copy of the entries.
/// @param enumerator  out: with one reference
HRESULT createPidMapEnumerator(std::vector<PID_MAP> entries, IEnumPIDMap** enumerator);

}  // namespace demux
