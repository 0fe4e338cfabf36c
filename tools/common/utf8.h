#pragma once

#include <string>
#include <string_view>

/// UTF-16 as the platform has it to UTF-8 and back. What is not valid becomes U+FFFD.
std::string toUtf8(std::wstring_view text);
std::wstring fromUtf8(std::string_view text);
