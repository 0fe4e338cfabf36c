#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tsgraph {

struct Arguments
{
    std::wstring file;
    std::wstring outputDirectory;  ///< empty: nothing is written
    std::wstring dll;              ///< empty: the registered filter
    std::optional<DWORD> program;
    bool json = false;
};

/// What to print instead of a run: the help (status 0), or one line about a wrong argument.
struct Usage
{
    int status = 0;
    std::string text;
};

/// @param arguments  UTF-8, without the program's name
std::variant<Arguments, Usage> parseArguments(std::vector<std::string> arguments);

/// The arguments of this process in UTF-8, without the program's name.
std::vector<std::string> commandLineArguments();

}  // namespace tsgraph
