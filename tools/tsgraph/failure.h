#pragma once

#include <windows.h>

#include <stdexcept>
#include <string>

namespace tsgraph {

/// Exit statuses of the program.
inline constexpr int kPlayedToEnd = 0;
inline constexpr int kNotAnalysed = 1;
inline constexpr int kFailed = 2;

/// Ends the program with a status; the message (UTF-8) says what failed and why.
class Failure : public std::runtime_error
{
public:
    explicit Failure(const std::string& message, int status = kFailed) : std::runtime_error(message), status_(status) {}
    int status() const noexcept { return status_; }

private:
    int status_;
};

/// The platform's words for a result and its code, for example "File not found. (0x80070002)".
std::string resultText(HRESULT result);

/// Throws a Failure "what: reason" when the result is an error.
void check(HRESULT result, const std::string& what);

}  // namespace tsgraph
