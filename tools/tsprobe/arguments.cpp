#include "tools/tsprobe/arguments.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <string_view>

#include "tools/common/number_option.h"
#include "ui/version.h"

namespace tsprobe {

namespace {

constexpr const char* kFooter =
    "Exit status: 0 analysed, 1 loaded but not analysable, 2 not loaded or wrong arguments.";

std::array<std::uint16_t, 5> parseDefaultPids(const std::string& text)
{
    std::array<std::uint16_t, 5> pids{};
    std::string_view rest = text;
    for (std::size_t i = 0; i < pids.size(); ++i) {
        const std::size_t comma = rest.find(',');
        const bool last = i + 1 == pids.size();
        if ((comma == std::string_view::npos) != last || !parseNumber(rest.substr(0, comma), 0xFFFF, pids[i]))
            throw CLI::ValidationError("--default-pids", "'" + text +
                                                             "' is not five numbers from 0 to 65535 "
                                                             "(PMT,VIDEO,VIDEOTYPE,AUDIO,AUDIOTYPE)");
        rest.remove_prefix(last ? rest.size() : comma + 1);
    }
    return pids;
}

/// The options as they are typed.
struct Typed
{
    std::string program;
    std::string bufferSize;
    std::string defaultPids;
};

void declare(CLI::App& app, Arguments& arguments, Typed& typed)
{
    app.add_option("FILE", arguments.files, "transport-stream files; several only without --json")->required();
    app.add_flag("--json", arguments.json, "print one JSON object");
    app.add_option("--program", typed.program, "select the program with this index, from 0")->type_name("INDEX");
    app.add_option("--buffer-size", typed.bufferSize, "size of the analysis read buffer (33000)")->type_name("BYTES");
    app.add_option("--default-pids", typed.defaultPids, "assume these streams instead of reading program tables")
        ->type_name("PMT,VIDEO,VIDEOTYPE,AUDIO,AUDIOTYPE");
    app.set_version_flag("--version", "tsprobe " ZARNOW_VERSION_TEXT);
    app.allow_windows_style_options(false);  // a path may begin with a slash
    app.footer(kFooter);
}

void convert(const CLI::App& app, const Typed& typed, Arguments& arguments)
{
    arguments.program = numberOption(app, "--program", typed.program);
    arguments.bufferSize = numberOption(app, "--buffer-size", typed.bufferSize);
    if (app.count("--default-pids") > 0)
        arguments.defaultPids = parseDefaultPids(typed.defaultPids);
    if (arguments.json && arguments.files.size() > 1)
        throw CLI::ValidationError("--json", "takes one FILE, not " + std::to_string(arguments.files.size()));
}

}  // namespace

bool parseArguments(std::vector<std::string> words, Arguments& arguments, Ending& ending)
{
    CLI::App app("Shows the programs and streams of MPEG transport-stream files.", "tsprobe");
    Typed typed;
    declare(app, arguments, typed);
    std::reverse(words.begin(), words.end());  // CLI11 takes them from the back
    try {
        app.parse(words);
        convert(app, typed, arguments);
        return true;
    } catch (const CLI::CallForHelp&) {
        ending = {.text = app.help()};
    } catch (const CLI::CallForVersion& version) {
        ending = {.text = std::string(version.what()) + "\n"};
    } catch (const CLI::Error& error) {
        ending = {.text = "tsprobe: " + std::string(error.what()) + " (see tsprobe --help)\n", .failed = true};
    }
    return false;
}

}  // namespace tsprobe
