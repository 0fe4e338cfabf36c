#include <nlohmann/json.hpp>

#include <span>

#include "tools/common/utf8.h"
#include "tools/tsgraph/media_type_text.h"
#include "tools/tsgraph/report.h"

namespace tsgraph {
namespace {

using Json = nlohmann::ordered_json;

std::string hexText(std::span<const BYTE> bytes)
{
    constexpr const char* kDigits = "0123456789abcdef";
    std::string text;
    for (const BYTE byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

Json pidOf(const PinFacts& facts)
{
    return facts.pids.empty() ? Json() : Json(facts.pids.front().ulPID);
}

Json toJson(const PlayedPin& pin)
{
    const CMediaType& type = pin.facts.type;
    return {
        {"name", toUtf8(pin.facts.name)},
        {"pid", pidOf(pin.facts)},
        {"mapping", pin.facts.carriesPesPackets() ? "transport_payload" : "elementary_stream"},
        {"majorType", guidText(type.majortype)},
        {"subtype", guidText(type.subtype)},
        {"formatType", guidText(type.formattype)},
        {"formatBlock", hexText({type.pbFormat, type.pbFormat == nullptr ? 0 : type.cbFormat})},
        {"fixedSizeSamples", type.bFixedSizeSamples != FALSE},
        {"temporalCompression", type.bTemporalCompression != FALSE},
        {"sampleSize", type.lSampleSize},
        {"bytesWritten", pin.writer->bytes()},
        {"outputFile", pin.outputFile.empty() ? Json() : Json(toUtf8(pin.outputFile))},
    };
}

}  // namespace

std::string jsonReport(const std::wstring& file, const SourceFacts& facts, const PlayGraph& graph,
                       const PlayResult& result)
{
    Json pins = Json::array();
    for (const PlayedPin& pin : graph.pins())
        pins.push_back(toJson(pin));
    const Json report{
        {"file", toUtf8(file)},  {"durationSeconds", facts.durationSeconds}, {"samples", result.samples},
        {"bytes", result.bytes}, {"endOfStream", result.endOfStream},        {"pins", pins},
    };
    return report.dump(2) + "\n";
}

}  // namespace tsgraph
