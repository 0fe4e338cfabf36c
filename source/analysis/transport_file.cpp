#include "analysis/transport_file.h"

namespace zarnow {

bool CTransportFile::moveToPosition(std::int64_t target) noexcept
{
    constexpr std::int64_t kLastPosition = 0xFFFFFFFF;  // what a move without a high part can reach
    return isOpen() && target >= 0 && target <= kLastPosition && setPosition(target);
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
