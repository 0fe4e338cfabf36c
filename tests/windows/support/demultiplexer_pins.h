/// @file
/// What a demultiplexer has been told.
#pragma once

#include <streams.h>

#include <set>
#include <string>

namespace zarnow::test {

/// Of every output pin: its name, its major type, and the PIDs mapped to it with what is made of each.
std::set<std::string> demultiplexerPins(IBaseFilter& demultiplexer);

}  // namespace zarnow::test
