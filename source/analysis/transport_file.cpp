#include "analysis/transport_file.h"

namespace zarnow {

bool CTransportFile::moveToPosition(std::int64_t target) noexcept
{
    return isOpen() && canMoveTo(target) && setPosition(target);
}

bool CTransportFile::moveTo(std::int32_t offset) noexcept
{
    return moveToPosition(offset);
}

bool CTransportFile::moveBy(std::int32_t distance) noexcept
{
    const std::int64_t current = position();
    return current >= 0 && moveToPosition(current + distance);
}

bool CTransportFile::moveFromEnd(std::int32_t distance) noexcept
{
    std::int64_t end = 0;
    return size(end) && moveToPosition(end + distance);
}

}  // namespace zarnow
