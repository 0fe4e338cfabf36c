#pragma once

#include <streams.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "source/filter/itarnwell.h"
#include "tools/common/com_ptr.h"

namespace tsgraph {

struct StreamFacts
{
    WORD pid = 0;
    std::string description;  ///< empty when the filter has no words for the stream
};

struct ProgramFacts
{
    WORD pmtPid = 0;
    WORD programNumber = 0;
    std::string name;
    bool selected = false;
    std::vector<StreamFacts> streams;
};

/// What the filter knows about the loaded file.
struct SourceFacts
{
    double durationSeconds = 0;
    std::vector<ProgramFacts> programs;
    std::optional<TarnwellVideoInfo> avc;  ///< facts about the selected program's AVC video
};

/// Loads the file. Throws a Failure that names the file and the reason.
void loadFile(IBaseFilter& filter, const std::wstring& path);

/// The filter's output pin, not null.
ComPtr<IPin> outputPin(IBaseFilter& filter);

/// A filter whose file could not be analysed offers no media type at its output.
bool isAnalysed(IPin& output);

/// Throws a Failure when there is no such program.
void selectProgram(IBaseFilter& filter, DWORD index, const std::wstring& path);

SourceFacts readSourceFacts(IBaseFilter& filter);

}  // namespace tsgraph
