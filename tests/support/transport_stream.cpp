#include "tests/support/transport_stream.h"

namespace zarnow::test {

namespace {

std::uint8_t low8(std::size_t value)
{
    return static_cast<std::uint8_t>(value);
}

void append16(Data& data, std::size_t value)
{
    data.push_back(low8(value >> 8));
    data.push_back(low8(value));
}

/// table_id to last_section_number, the body and the CRC.
Data section(std::uint8_t tableId, std::uint16_t id, const Data& body)
{
    Data whole{tableId};
    append16(whole, 0xB000 | (body.size() + 9));
    append16(whole, id);
    whole = join({whole, {0xC1, 0, 0}, body});
    const std::uint32_t crc = crcOf(whole);
    append16(whole, crc >> 16);
    append16(whole, crc);
    return whole;
}

}  // namespace

std::uint32_t crcOf(const Data& data)
{
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint8_t byte : data) {
        crc ^= std::uint32_t{byte} << 24;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc << 1) ^ ((crc & 0x80000000) != 0 ? 0x04C11DB7 : 0);
    }
    return crc;
}

Data packet(const Header& header, const Data& payload)
{
    const unsigned flags =
        (header.error ? 0x80U : 0U) | (header.unitStart ? 0x40U : 0U) | (header.priority ? 0x20U : 0U);
    Data bytes{0x47, low8(flags | (header.pid >> 8)), low8(header.pid), low8(header.control * 0x10U)};
    if ((header.control & 2) != 0) {
        bytes.push_back(header.adaptation);
        if (header.adaptation != 0)
            bytes.push_back(0);  // no flags
        bytes.resize(5U + header.adaptation, header.stuffing);
    }
    append(bytes, payload);
    bytes.resize(kPacket, 0xFF);
    return bytes;
}

Data nullPackets(std::size_t count)
{
    return repeat(packet({.pid = kNoPid, .unitStart = false}), count);
}

Data timed(const Data& packets)
{
    Data whole;
    for (auto at = packets.begin(); at != packets.end(); at += kPacket) {
        whole.insert(whole.end(), {0x00, 0x01, 0x02, 0x03});
        whole.insert(whole.end(), at, at + kPacket);
    }
    return whole;
}

Data stampField(std::int64_t ticks, std::uint8_t prefix)
{
    const auto stamp = static_cast<std::uint64_t>(ticks);
    return {low8(prefix * 0x10U | ((stamp >> 29) & 0x0E) | 1), low8(stamp >> 22), low8(((stamp >> 14) & 0xFE) | 1),
            low8(stamp >> 7), low8(((stamp << 1) & 0xFE) | 1)};
}

Data pes(std::uint8_t streamId, const Data& payload, std::optional<std::int64_t> pts)
{
    const Data stamp = pts ? stampField(*pts) : Data{};
    return join({{0, 0, 1, streamId, 0, 0, 0x80, low8(pts ? 0x80 : 0), low8(stamp.size())}, stamp, payload});
}

Data pesPackets(std::uint16_t pid, const Data& pesPacket)
{
    constexpr std::size_t kRoom = kPacket - 4;
    Data whole;
    for (std::size_t at = 0; at < pesPacket.size(); at += kRoom) {
        const std::size_t size = std::min(kRoom, pesPacket.size() - at);
        Header header{.pid = pid, .unitStart = at == 0};
        if (size < kRoom) {
            header.control = 3;
            header.adaptation = low8(kRoom - size - 1);
        }
        append(whole, packet(header, bytesFrom(pesPacket, at, size)));
    }
    return whole;
}

Data patSection(const std::vector<Program>& programs)
{
    Data body;
    for (const Program& program : programs) {
        append16(body, program.number);
        append16(body, 0xE000U | program.pmtPid);
    }
    return section(0x00, 1, body);
}

Data pmtSection(std::uint16_t programNumber, const std::vector<Stream>& streams, std::uint16_t programInfoLength)
{
    Data body{0xFF, 0xFF};  // no PCR_PID
    append16(body, 0xF000U | programInfoLength);
    body.resize(body.size() + programInfoLength, 0xFF);
    for (const Stream& stream : streams) {
        body.push_back(stream.type);
        append16(body, 0xE000U | stream.pid);
        append16(body, 0xF000U | stream.infoLength);
        body.resize(body.size() + stream.infoLength, 0xFF);
    }
    return section(0x02, programNumber, body);
}

Data pointed(const Data& section, std::uint8_t pointer)
{
    return join({{pointer}, filled(pointer, 0xFF), section});
}

Data patPacket(const std::vector<Program>& programs)
{
    return packet({.pid = 0}, pointed(patSection(programs)));
}

Data pmtPacket(std::uint16_t pid, std::uint16_t programNumber, const std::vector<Stream>& streams)
{
    return packet({.pid = pid}, pointed(pmtSection(programNumber, streams)));
}

}  // namespace zarnow::test
