#pragma once

#include <cstdio>
#include <string>

/// A short text made by snprintf; what goes past 255 characters is cut off.
template <typename... Values>
std::string formatted(const char* format, Values... values)
{
    char text[256];
    std::snprintf(text, sizeof(text), format, values...);
    return text;
}
