#include "tests/robustness/samples.h"

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <system_error>

#include "tests/support/transport_stream.h"
#include "tools/tsprobe/json_report.h"

namespace zarnow::test {

namespace {

Data readFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    file.exceptions(std::ios::badbit | std::ios::failbit);
    return Data(std::istreambuf_iterator<char>(file), {});
}

}  // namespace

const Samples& samples()
{
    static const Samples all{{"mpeg2", readFile(ZARNOW_TEST_DATA "mpeg2.ts")},
                             {"two-programs", readFile(ZARNOW_TEST_DATA "two-programs.ts")}};
    return all;
}

Samples madeSamples()
{
    Samples made;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(ZARNOW_MADE_SAMPLES, none)) {
        const Data content = readFile(entry.path());
        if (content.size() % kPacket == 0 && content.size() > kPacket && content[0] == 0x47 && content[kPacket] == 0x47)
            made.emplace(entry.path().filename(), content);
    }
    return made;
}

std::string factsOf(const std::filesystem::path& path, std::uint32_t bufferSize, bool placeless)
{
    using Json = nlohmann::ordered_json;
    const std::regex omitted(
        placeless ? "file.*|packetSize|startOffset|durationSeconds|hrdBitRate|estimatedAverageBitRate" : "file");
    const auto wanted = [&](int, Json::parse_event_t event, const Json& parsed) {
        return event != Json::parse_event_t::key || !std::regex_match(parsed.get<std::string>(), omitted);
    };
    std::string text;
    tsprobe::Arguments arguments;
    arguments.bufferSize = bufferSize;
    for (arguments.program = 0;; ++*arguments.program) {
        const tsprobe::Inspection inspection(path, arguments);
        const Json report = Json::parse(tsprobe::jsonReport(inspection), wanted);
        text += std::regex_replace(report.dump(), std::regex("[{]"), "\n{") + "\n";
        if (*arguments.program + 1 >= inspection.state().programList.size())
            return text;
    }
}

}  // namespace zarnow::test
