#include "tests/robustness/faults.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace zarnow::test {

namespace {

Fault* armed = nullptr;

bool strikes(Fault::Kind kind) noexcept
{
    if (armed == nullptr || armed->kind != kind)
        return false;
    if (armed->left != 0) {
        --armed->left;
        return false;
    }
    return !std::exchange(armed->struck, true) || armed->lasting == Fault::Lasting::forGood;
}

int failWith(int error) noexcept
{
    errno = error;
    return -1;
}

void* allocate(std::size_t size) noexcept
{
    return strikes(Fault::Kind::failedAllocation) ? nullptr : std::malloc(std::max<std::size_t>(size, 1));
}

void* allocateOrThrow(std::size_t size)
{
    void* memory = allocate(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

}  // namespace

Fault::Fault(Kind kindOfCall, std::size_t after, Lasting forHowLong, std::function<void()> before)
    : kind(kindOfCall), left(after), lasting(forHowLong), meanwhile(std::move(before))
{
    armed = this;
}

Fault::~Fault()
{
    armed = nullptr;
}

// The linker sends every call of pread here, and __real_pread is the system's; so with the others.
extern "C" {

ssize_t __real_pread(int descriptor, void* buffer, std::size_t size, off_t offset);
int __real_fstat(int descriptor, struct stat* status);

ssize_t __wrap_pread(int descriptor, void* buffer, std::size_t size, off_t offset)
{
    if (armed != nullptr && armed->struck)
        ++armed->readsSince;
    if (strikes(Fault::Kind::meanwhile))
        armed->meanwhile();
    if (strikes(Fault::Kind::failedRead))
        return failWith(EIO);
    if (strikes(Fault::Kind::interruptedRead))
        return failWith(EINTR);
    if (strikes(Fault::Kind::shortRead))
        size = std::max(size / 3, std::min(size, std::size_t{1}));
    return __real_pread(descriptor, buffer, size, offset);
}

int __wrap_fstat(int descriptor, struct stat* status)
{
    return strikes(Fault::Kind::failedSize) ? failWith(EIO) : __real_fstat(descriptor, status);
}

}  // extern "C"

}  // namespace zarnow::test

// clang-format off
void* operator new(std::size_t size) { return zarnow::test::allocateOrThrow(size); }
void* operator new[](std::size_t size) { return zarnow::test::allocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return zarnow::test::allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return zarnow::test::allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
// clang-format on
