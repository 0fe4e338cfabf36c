#include "analysis/file_scan.h"

#include <algorithm>
#include <limits>
#include <new>

namespace zarnow {

namespace {

constexpr int kSyncAttempts = 3;  // buffers that are looked at for the packet size and for the first packet

}  // namespace

void CFileScan::setReadBufferSize(std::uint32_t size) noexcept
{
    readBufferSize = size;
    readBuffer.reset();
    readBuffer.reset(new (std::nothrow) std::uint8_t[size]);  // make_unique would zero it, and throw
}

bool CFileScan::readBlock(std::uint32_t size, Block& block) noexcept
{
    constexpr std::uint32_t kLongestBlock = std::numeric_limits<std::int32_t>::max();  // lengths are signed
    block = {};
    const std::uint32_t wanted = std::min({size, readBufferSize, kLongestBlock});
    std::uint32_t count = 0;
    if (readBuffer == nullptr || wanted == 0 || !file.read(readBuffer.get(), wanted, count))
        return false;
    block = {.bytes = Bytes(readBuffer.get(), count), .full = count == wanted};
    return true;
}

bool CFileScan::detectFilePacketSize()
{
    packetSize = kPacketSize;
    file.moveTo(0);
    for (int attempt = 0; attempt < kSyncAttempts; ++attempt) {
        Block block;
        std::uint32_t size = 0;
        if (readBlock(readBufferSize, block) && detectPacketSize(block.data(), block.length(), size)) {
            packetSize = size;
            return true;
        }
    }
    file.moveTo(static_cast<std::int32_t>(startOffset));
    return false;
}

bool CFileScan::findSyncInFile(std::uint32_t& offset)
{
    std::uint32_t earlier = 0;  // bytes of the attempts before
    std::uint32_t total = 0;
    bool found = false;
    for (int attempt = 0; attempt < kSyncAttempts && !found; ++attempt) {
        Block block;
        std::uint32_t inBlock = 0;
        found = readBlock(readBufferSize, block) && findSync(block.data(), block.length(), inBlock);
        total += static_cast<std::uint32_t>(block.length());
        if (found)
            offset = earlier + inBlock;
        earlier = total;
    }
    file.moveBy(static_cast<std::int32_t>(0 - total));
    return found;
}

bool CFileScan::rewindToData()
{
    startOffset = 0;
    file.moveTo(0);
    std::uint32_t offset = 0;
    if (!findSyncInFile(offset))
        return false;
    startOffset = offset;
    return file.moveTo(static_cast<std::int32_t>(startOffset));
}

}  // namespace zarnow
