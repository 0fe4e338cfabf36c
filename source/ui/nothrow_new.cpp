// new (std::nothrow) that asks for memory and nothing else.
//
// libstdc++'s own throws and catches inside. Where there is no memory at all, the throw needs some as well, and with
// winpthreads' locks, which are allocated at their first use, it ends in throwing without end: a stack overflow in the
// host's process in place of E_OUTOFMEMORY.

#include <cstdlib>
#include <new>

#ifdef __GLIBCXX__  // whose operator delete is free

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return std::malloc(size != 0 ? size : 1);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return std::malloc(size != 0 ? size : 1);
}

#endif
