/// @file
/// Files that cost most to open: what is looked for is nowhere, or wherever one looks.
#pragma once

#include <string>
#include <vector>

#include "tests/support/data.h"

namespace zarnow::test {

/// A file is its head and then its body, over and over.
struct DifficultFile
{
    std::string name;
    Data head;
    Data body;

    Data content(std::size_t size) const;
};

/// A map section of 4095 bytes, read on through 22 packets: 790 entries of one type on PIDs from `pid` on. The last
/// entry in each packet has a descriptor that ends behind the next one's header.
Data endlessMap(std::uint16_t pmtPid, std::uint16_t number, std::uint8_t streamType, std::uint16_t pid);

/// Every kind, in the order of a table.
std::vector<DifficultFile> difficultFiles();

}  // namespace zarnow::test
