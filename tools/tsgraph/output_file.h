#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tsgraph {

/// A file that is written from its start to its end, in large pieces.
class OutputFile
{
public:
    OutputFile() = default;
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Creates the file, or empties an existing one.
    /// @return S_OK or the system's error
    HRESULT create(const std::wstring& path);

    /// @return S_OK or the system's error, for example of a full disk
    HRESULT write(std::span<const std::uint8_t> bytes);

    /// Writes what is kept back. Without an open file there is nothing to do.
    HRESULT close() noexcept;

    bool isOpen() const noexcept { return handle_ != INVALID_HANDLE_VALUE; }

private:
    HRESULT writeOut() noexcept;

    HANDLE handle_ = INVALID_HANDLE_VALUE;
    std::vector<std::uint8_t> pending_;
};

}  // namespace tsgraph
