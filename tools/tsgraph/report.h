#pragma once

#include <string>

#include "tools/tsgraph/graph.h"
#include "tools/tsgraph/source_facts.h"

namespace tsgraph {

// The report in words, in the order in which it is printed (UTF-8, whole lines):
std::string sourceReport(const std::wstring& file, const SourceFacts& facts);
std::string pinsReport(const PlayGraph& graph);
std::string playReport(const PlayGraph& graph, const PlayResult& result);

/// The whole run as one JSON object.
std::string jsonReport(const std::wstring& file, const SourceFacts& facts, const PlayGraph& graph,
                       const PlayResult& result);

}  // namespace tsgraph
