/// @file
/// What a module asks the system for: memory and kernel objects. Any of the requests can be made to fail.
#pragma once

#include <windows.h>

#include <cstddef>

namespace zarnow::test {

/// Puts another function in the place of one that a module imports, until the module is unloaded.
/// @return the one that was there; null, and nothing done, when the module does not import it
void* replaceImport(HMODULE module, const char* function, void* replacement);

/// Counts the requests that a module makes from now on until it is unloaded, and keeps account of the memory that it
/// has not given back. One module at a time.
void watchRequests(HMODULE module);

/// The number-th request of this thread from now, from 1, fails, and `count` - 1 more behind it.
void failRequests(long number, long count);

/// @return whether a request has failed
bool letRequestsSucceed();

/// Blocks that are not given back, by whoever.
std::size_t blocksInUse();

}  // namespace zarnow::test
