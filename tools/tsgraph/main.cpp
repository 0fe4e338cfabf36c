// tsgraph: plays a transport-stream file through a filter graph around the source filter.

#include <streams.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <exception>
#include <filesystem>

#include "tools/common/utf8.h"
#include "tools/tsgraph/arguments.h"
#include "tools/tsgraph/failure.h"
#include "tools/tsgraph/filter_module.h"
#include "tools/tsgraph/graph.h"
#include "tools/tsgraph/progress.h"
#include "tools/tsgraph/report.h"
#include "tools/tsgraph/source_facts.h"
#include "tools/tsgraph/watchdog.h"

namespace tsgraph {
namespace {

class ComSession
{
public:
    ComSession() { check(CoInitializeEx(nullptr, COINIT_MULTITHREADED), "COM cannot be initialised"); }
    ~ComSession() { CoUninitialize(); }
    ComSession(const ComSession&) = delete;
    ComSession& operator=(const ComSession&) = delete;
};

void print(const std::string& text)
{
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

std::uint64_t sizeOf(const std::wstring& file)
{
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    return error ? 0 : size;
}

void makeDirectory(const std::wstring& directory)
{
    std::error_code error;
    if (!directory.empty())
        std::filesystem::create_directories(directory, error);
    if (error)
        throw Failure(toUtf8(directory) + ": the directory cannot be created: " + error.message());
}

void load(IBaseFilter& filter, const Arguments& arguments)
{
    loadFile(filter, arguments.file);
    if (!isAnalysed(*outputPin(filter).Get()))
        throw Failure(toUtf8(arguments.file) + ": was loaded, but no transport stream with a program was found in it",
                      kNotAnalysed);
    if (arguments.program)
        selectProgram(filter, *arguments.program, arguments.file);
}

PlayResult runGraph(PlayGraph& graph, const Arguments& arguments, Watchdog& watchdog)
{
    Progress progress{sizeOf(arguments.file)};
    std::uint64_t played = 0;
    return graph.run([&](std::uint64_t bytes) {
        if (bytes != played)
            watchdog.notice();
        played = bytes;
        progress.show(bytes);
    });
}

int playAndReport(IBaseFilter& filter, const Arguments& arguments, Watchdog& watchdog)
{
    const SourceFacts facts = readSourceFacts(filter);
    if (!arguments.json)
        print(sourceReport(arguments.file, facts));
    PlayGraph graph;
    watchdog.enter("connecting the graph");
    graph.connectSource(filter, *outputPin(filter).Get());
    graph.connectWriters(arguments.outputDirectory);
    if (!arguments.json)
        print(pinsReport(graph));
    watchdog.enter("playing " + toUtf8(arguments.file));
    const PlayResult result = runGraph(graph, arguments, watchdog);
    print(arguments.json ? jsonReport(arguments.file, facts, graph, result) : playReport(graph, result));
    if (!result.endOfStream)
        throw Failure(toUtf8(arguments.file) + ": the end of the stream was not reached on every pin");
    return kPlayedToEnd;
}

int run(const Arguments& arguments)
{
    Watchdog watchdog{std::chrono::seconds(60)};
    const ComSession com;
    const FilterModule module{arguments.dll};
    const ComPtr<IBaseFilter> filter = module.createFilter();
    watchdog.enter("loading " + toUtf8(arguments.file));
    load(*filter.Get(), arguments);
    makeDirectory(arguments.outputDirectory);
    return playAndReport(*filter.Get(), arguments, watchdog);
}

int show(const Usage& usage)
{
    std::fputs(usage.text.c_str(), usage.status == 0 ? stdout : stderr);
    return usage.status;
}

// What could not be printed fails at the end only: the files of the streams are complete then.
int main()
{
    const auto parsed = parseArguments(commandLineArguments());
    const Usage* usage = std::get_if<Usage>(&parsed);
    const int status = usage != nullptr ? show(*usage) : run(std::get<Arguments>(parsed));
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw Failure("standard output cannot be written");
    return status;
}

int fail(const char* message, int status)
{
    std::fprintf(stderr, "tsgraph: %s\n", message);
    return status;
}

}  // namespace
}  // namespace tsgraph

int main()
{
    _setmode(_fileno(stdout), _O_BINARY);
    SetConsoleOutputCP(CP_UTF8);
    try {
        return tsgraph::main();
    } catch (const tsgraph::Failure& failure) {
        return tsgraph::fail(failure.what(), failure.status());
    } catch (const std::exception& error) {
        return tsgraph::fail(error.what(), tsgraph::kFailed);
    }
}
