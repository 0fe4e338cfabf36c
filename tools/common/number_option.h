/// @file
/// Numbers on the tools' command lines.
#pragma once

#include <CLI/CLI.hpp>

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Decimal or 0x hex, whole.
template <class Number>
bool parseNumber(std::string_view text, std::uint64_t limit, Number& number)
{
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    if (hex)
        text.remove_prefix(2);
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, hex ? 16 : 10);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || value > limit)
        return false;
    number = static_cast<Number>(value);
    return true;
}

/// The value of a 32-bit option that was typed as `text`; nothing when it was not given.
inline std::optional<std::uint32_t> numberOption(const CLI::App& app, const std::string& name, const std::string& text)
{
    constexpr std::uint32_t kLimit = 0xFFFFFFFF;
    if (app.count(name) == 0)
        return std::nullopt;
    std::uint32_t number = 0;
    if (!parseNumber(text, kLimit, number))
        throw CLI::ValidationError(name, "'" + text + "' is not a number from 0 to " + std::to_string(kLimit));
    return number;
}
