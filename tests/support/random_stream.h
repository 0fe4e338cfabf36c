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

/// One packet with a PES packet's beginning; some are marked as in error, scrambled, or leave no room for a payload.
Data randomPacket(Dice& dice);

/// The packets of one program association or program map section, sound or not, over as many packets as it takes.
Data randomTable(Dice& dice);

/// Either of them.
Data randomPackets(Dice& dice);

/// Up to so many packets and 20 more, mostly with an association table at first and further tables, now and then behind
/// garbage. The last packet may be cut off; here and there the walk loses its footing.
Data randomStream(Dice& dice, std::size_t packets, bool withPrefixes);

}  // namespace zarnow::test
