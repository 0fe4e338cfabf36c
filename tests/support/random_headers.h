/// @file
/// Elementary stream headers with random fields, mostly valid, now and then cut off.
#pragma once

#include "tests/support/dice.h"

namespace zarnow::test {

Data randomSequenceHeader(Dice& dice);  ///< MPEG video, with or without an extension
Data randomSps(Dice& dice);             ///< NAL unit, sometimes behind an access unit delimiter
Data randomNalUnit(Dice& dice);         ///< of every type that is looked into
Data randomAudioHeader(Dice& dice);     ///< AC-3, MPEG audio and ADTS, LPCM

/// Any of them, or a few bytes that are no header.
Data randomHeader(Dice& dice);

/// A PES packet of such a header, its stamp near 0, 2^32, 2^33, or missing.
Data randomPes(Dice& dice, const Data& header);

}  // namespace zarnow::test
