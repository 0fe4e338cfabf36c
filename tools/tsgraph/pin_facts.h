#pragma once

#include <streams.h>
#include <bdaiface.h>

#include <string>
#include <vector>

#include "tools/common/com_ptr.h"

namespace tsgraph {

/// One output pin of the demultiplexer as the filter has configured it.
struct PinFacts
{
    ComPtr<IPin> pin;
    std::wstring name;
    CMediaType type;
    std::vector<PID_MAP> pids;

    /// The samples hold PES packets instead of elementary-stream bytes.
    bool carriesPesPackets() const;
};

/// The demultiplexer's output pins in its order. Throws a Failure when they cannot be read.
std::vector<PinFacts> readPins(IBaseFilter& demultiplexer);

}  // namespace tsgraph
