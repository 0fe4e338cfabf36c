// tsprobe: shows the programs and streams of MPEG transport-stream files.

#include <algorithm>
#include <cstdio>

#include "tools/tsprobe/json_report.h"
#include "tools/tsprobe/progress.h"
#include "tools/tsprobe/text_report.h"

#ifdef _WIN32
#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include "tools/common/utf8.h"
#endif

namespace tsprobe {

namespace {

/// Loads, then prints; the progress line is gone by then.
int inspectFile(const std::string& path, const Arguments& arguments)
{
    std::string report;
    bool analysed = false;
    {
        const Progress progress(path);
        Inspection inspection(path, arguments);
        analysed = inspection.state().analysed;
        report = arguments.json ? jsonReport(inspection) + "\n" : textReport(inspection);
    }
    std::fputs(report.c_str(), stdout);
    return analysed ? kAnalysed : kNotAnalysed;
}

int inspectOrExplain(const std::string& path, const Arguments& arguments)
{
    try {
        return inspectFile(path, arguments);
    } catch (const std::exception& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "tsprobe: %s\n", error.what());
        return kFailed;
    }
}

int inspectAll(const Arguments& arguments)
{
    int status = kAnalysed;
    for (const std::string& path : arguments.files) {
        if (&path != &arguments.files.front())
            std::fputs("\n", stdout);
        status = std::max(status, inspectOrExplain(path, arguments));
    }
    return status;
}

int end(const Ending& ending)
{
    std::fputs(ending.text.c_str(), ending.failed ? stderr : stdout);
    return ending.failed ? kFailed : kAnalysed;
}

int run(std::vector<std::string> words)
{
    Arguments arguments;
    Ending ending;
    const int status = parseArguments(std::move(words), arguments, ending) ? inspectAll(arguments) : end(ending);
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return status;
    std::fputs("tsprobe: standard output cannot be written\n", stderr);
    return kFailed;
}

}  // namespace

}  // namespace tsprobe

#ifdef _WIN32
int wmain(int argc, wchar_t** argv)
{
    SetConsoleOutputCP(CP_UTF8);
    _setmode(_fileno(stdout), _O_BINARY);  // the JSON is the same everywhere
    std::vector<std::string> words;
    std::transform(argv + 1, argv + argc, std::back_inserter(words), [](const wchar_t* word) { return toUtf8(word); });
    return tsprobe::run(std::move(words));
}
#else
int main(int argc, char** argv)
{
    return tsprobe::run({argv + 1, argv + argc});
}
#endif
