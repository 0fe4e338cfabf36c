#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "analysis/transport_file.h"

namespace zarnow {

namespace {

int descriptorOf(std::intptr_t handle) noexcept
{
    return static_cast<int>(handle);
}

bool isDirectory(int descriptor) noexcept
{
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

std::uint32_t CTransportFile::open(const PathChar* path) noexcept
{
    close();
    const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);  // a pipe must not block here
    if (descriptor < 0)
        return static_cast<std::uint32_t>(errno);
    if (isDirectory(descriptor)) {
        ::close(descriptor);
        return EISDIR;
    }
    handle_ = descriptor;
    position_ = 0;
    return 0;
}

void CTransportFile::close() noexcept
{
    if (isOpen())
        ::close(descriptorOf(handle_));
    handle_ = kNoHandle;
}

bool CTransportFile::size(std::int64_t& bytes) const noexcept
{
    struct stat status = {};
    if (!isOpen() || fstat(descriptorOf(handle_), &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    bytes = status.st_size;
    return true;
}

bool CTransportFile::read(void* buffer, std::uint32_t length, std::uint32_t& count) noexcept
{
    count = 0;
    if (!isOpen())
        return false;
    while (count < length) {
        const ssize_t got =
            pread(descriptorOf(handle_), static_cast<std::byte*>(buffer) + count, length - count, position_ + count);
        if (got == 0)
            break;
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            count = 0;
            return false;
        }
        count += static_cast<std::uint32_t>(got);
    }
    position_ += count;
    return true;
}

std::int64_t CTransportFile::position() const noexcept
{
    return isOpen() ? position_ : -1;
}

bool CTransportFile::shiftPosition(std::int64_t distance, std::int64_t& reached) noexcept
{
    reached = position_ + distance;
    return isOpen() && reached >= 0 && setPosition(reached);
}

bool CTransportFile::setPosition(std::int64_t target) noexcept
{
    position_ = target;
    return true;
}

}  // namespace zarnow
