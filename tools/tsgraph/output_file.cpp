#include "tools/tsgraph/output_file.h"

#include <algorithm>
#include <utility>

namespace tsgraph {
namespace {

constexpr std::size_t kPieceSize = std::size_t{1} << 20;

HRESULT lastError()
{
    return HRESULT_FROM_WIN32(GetLastError());
}

}  // namespace

OutputFile::~OutputFile()
{
    close();
}

HRESULT OutputFile::create(const std::wstring& path)
{
    handle_ = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                          nullptr);
    if (!isOpen())
        return lastError();
    pending_.reserve(kPieceSize);
    return S_OK;
}

HRESULT OutputFile::write(std::span<const std::uint8_t> bytes)
{
    while (!bytes.empty()) {
        const std::size_t count = std::min(bytes.size(), kPieceSize - pending_.size());
        pending_.insert(pending_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
        bytes = bytes.subspan(count);
        if (pending_.size() < kPieceSize)
            continue;
        const HRESULT result = writeOut();
        if (FAILED(result))
            return result;
    }
    return S_OK;
}

HRESULT OutputFile::close() noexcept
{
    if (!isOpen())
        return S_OK;
    const HRESULT result = writeOut();
    CloseHandle(std::exchange(handle_, INVALID_HANDLE_VALUE));
    return result;
}

HRESULT OutputFile::writeOut() noexcept
{
    const auto size = static_cast<DWORD>(pending_.size());
    DWORD written = 0;
    const bool done = WriteFile(handle_, pending_.data(), size, &written, nullptr) != FALSE;
    const HRESULT result = done ? S_OK : lastError();
    pending_.clear();
    return done && written < size ? HRESULT_FROM_WIN32(ERROR_DISK_FULL) : result;
}

}  // namespace tsgraph
