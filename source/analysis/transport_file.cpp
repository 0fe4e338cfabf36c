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
    std::int64_t reached = 0;
    if (!shiftPosition(distance, reached))
        return false;
    if (canMoveTo(reached))
        return true;
    shiftPosition(-std::int64_t{distance}, reached);
    return false;
}

bool CTransportFile::moveFromEnd(std::int32_t distance) noexcept
{
    std::int64_t end = 0;
    return size(end) && moveToPosition(end + distance);
}

}  // namespace zarnow
