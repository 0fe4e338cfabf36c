/// @file
/// What a module asks the system for: memory and kernel objects. Any of the requests can be made to fail.
#pragma once

#include <windows.h>

#include <cstddef>

namespace zarnow::test {

/// Another function in the place of one that a module imports, for the length of a scope.
class ImportPatch
{
public:
    /// A module that does not import the function is left alone.
    ImportPatch(HMODULE module, const char* function, void* replacement);
    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;
    ~ImportPatch();

private:
    static void write(void** entry, void* function);

    void** entry_;
    void* original_ = nullptr;
};

/// Counts the requests that a module makes on this thread, and fails those it is told to. Keeps account of the memory
/// that the module has not given back. One at a time.
class ModuleRequests
{
public:
    explicit ModuleRequests(HMODULE module);
    ModuleRequests(const ModuleRequests&) = delete;
    ModuleRequests& operator=(const ModuleRequests&) = delete;
    ~ModuleRequests();

    /// The number-th request from now, from 1, fails, and `count` - 1 more behind it.
    void fail(long number, long count);
    /// @return whether a request has failed
    bool succeedAgain();

    /// Blocks that were requested since the beginning and are not given back, by whoever.
    std::size_t blocksInUse() const;

private:
    ImportPatch patches_[16];
};

}  // namespace zarnow::test
