/// @file
/// Elementary stream headers with random fields, mostly valid, now and then cut off; and whole transport streams with
/// random tables, such headers, and faults. They have few PIDs, so that tables and streams meet on them.
/// A seed gives the same with every compiler: the dice are never thrown twice in one expression without an order.
#pragma once

#include "tests/support/dice.h"

namespace zarnow::test {

Data randomSequenceHeader(Dice& dice);  ///< MPEG video, with or without an extension
Data randomSps(Dice& dice);             ///< NAL unit, sometimes behind an access unit delimiter
Data randomNalUnit(Dice& dice);         ///< of every type that is looked into
Data randomAudioHeader(Dice& dice);     ///< AC-3, MPEG audio and ADTS, LPCM

std::uint16_t randomPid(Dice& dice);

/// One packet with a PES packet's beginning; some are marked as in error, scrambled, or leave no room for a payload.
Data randomPacket(Dice& dice);

/// The packets of one program association or program map section, sound or not, over as many packets as it takes.
Data randomTable(Dice& dice);

/// Either of them.
Data randomPackets(Dice& dice);

struct StreamShape
{
    unsigned packets = 100;     ///< at most
    unsigned rarity = 1;        ///< one packet in so many is no null packet
    unsigned garbage = 0;       ///< bytes before the first packet, at most
    bool withTables = false;    ///< begins with an association table, and has further tables
    bool withPrefixes = false;  ///< 192 bytes a packet
};

/// Its last packet is cut off now and then; here and there the walk loses its footing.
Data randomStream(Dice& dice, const StreamShape& shape);

}  // namespace zarnow::test
