#include "tools/tsgraph/arguments.h"

#include <CLI/CLI.hpp>

#include <shellapi.h>

#include <algorithm>
#include <memory>

#include "tools/common/number_option.h"
#include "tools/common/utf8.h"
#include "tools/tsgraph/failure.h"

namespace tsgraph {
namespace {

constexpr const char* kFooter =
    "Exit status: 0 when the end of the stream was reached on every pin, 1 when no program\n"
    "was found in FILE, 2 for anything else.";

/// The options as they are typed, before they become Arguments.
struct Typed
{
    std::string file;
    std::string outputDirectory;
    std::string dll;
    std::string program;
    bool json = false;
};

void declare(CLI::App& app, Typed& typed)
{
    app.allow_windows_style_options(false);  // a path may start with a slash
    app.add_option("FILE", typed.file, "transport-stream file")->required();
    app.add_option("--program", typed.program, "index of the program to play, from 0")->type_name("N");
    app.add_option("--out", typed.outputDirectory, "write each elementary stream to a file in DIR")->type_name("DIR");
    app.add_option("--dll", typed.dll, "take the filter from this file; without it the registered one is used")
        ->type_name("PATH");
    app.add_flag("--json", typed.json, "print one JSON object instead of the report");
    app.footer(kFooter);
}

// An empty variable of a script is not the same as no option.
void refuseEmpty(const CLI::App& app, const std::string& name, const std::string& text)
{
    if (app.count(name) > 0 && text.empty())
        throw CLI::ValidationError(name, "is empty");
}

Arguments toArguments(const CLI::App& app, const Typed& typed)
{
    refuseEmpty(app, "--out", typed.outputDirectory);
    refuseEmpty(app, "--dll", typed.dll);
    Arguments result;
    result.file = fromUtf8(typed.file);
    result.outputDirectory = fromUtf8(typed.outputDirectory);
    result.dll = fromUtf8(typed.dll);
    result.json = typed.json;
    result.program = numberOption(app, "--program", typed.program);
    return result;
}

}  // namespace

std::variant<Arguments, Usage> parseArguments(std::vector<std::string> arguments)
{
    CLI::App app{"Plays a transport-stream file through a filter graph and shows what comes out.", "tsgraph"};
    Typed typed;
    declare(app, typed);
    std::ranges::reverse(arguments);  // CLI11 takes them from the back
    try {
        app.parse(std::move(arguments));
        return toArguments(app, typed);
    } catch (const CLI::CallForHelp&) {
        return Usage{kPlayedToEnd, app.help()};
    } catch (const CLI::ParseError& error) {
        return Usage{kFailed, std::string("tsgraph: ") + error.what() + " (tsgraph --help lists the options)\n"};
    }
}

std::vector<std::string> commandLineArguments()
{
    int count = 0;
    const std::unique_ptr<LPWSTR, decltype(&LocalFree)> list{CommandLineToArgvW(GetCommandLineW(), &count), LocalFree};
    std::vector<std::string> result;
    for (int i = 1; list && i < count; ++i)
        result.push_back(toUtf8(list.get()[i]));
    return result;
}

}  // namespace tsgraph
