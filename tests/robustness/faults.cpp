#include "tests/robustness/faults.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace zarnow::test {

namespace {

struct Armed
{
    FileFault::Kind kind;
    std::size_t left;
    bool forGood;
    std::function<void()> meanwhile{};
    bool struck = false;
    std::size_t readsSince = 0;
};

std::optional<Armed> armed;

bool strikes(FileFault::Kind kind) noexcept
{
    if (!armed || armed->kind != kind)
        return false;
    if (armed->left != 0) {
        --armed->left;
        return false;
    }
    const bool due = armed->forGood || !armed->struck;
    armed->struck = armed->struck || due;
    return due;
}

int failWith(int error) noexcept
{
    errno = error;
    return -1;
}

}  // namespace

FileFault::FileFault(Kind kind, std::size_t after, Lasting lasting)
{
    armed = Armed{.kind = kind, .left = after, .forGood = lasting == Lasting::forGood};
}

FileFault::FileFault(std::size_t after, std::function<void()> meanwhile)
{
    armed = Armed{.kind = Kind::meanwhile, .left = after, .forGood = false, .meanwhile = std::move(meanwhile)};
}

FileFault::~FileFault()
{
    armed.reset();
}

bool FileFault::struck() const noexcept
{
    return armed->struck;
}

std::size_t FileFault::readsSince() const noexcept
{
    return armed->readsSince;
}

// The linker sends every call of read here, and __real_read is the system's; so with the others.
extern "C" {

ssize_t __real_read(int descriptor, void* buffer, std::size_t size);
ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size);
off_t __real_lseek(int descriptor, off_t offset, int origin);
off_t __wrap_lseek(int descriptor, off_t offset, int origin);
int __real_fstat(int descriptor, struct stat* status);
int __wrap_fstat(int descriptor, struct stat* status);

ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size)
{
    if (armed && armed->struck)
        ++armed->readsSince;
    if (strikes(FileFault::Kind::meanwhile))
        armed->meanwhile();
    if (strikes(FileFault::Kind::failedRead))
        return failWith(EIO);
    if (strikes(FileFault::Kind::interruptedRead))
        return failWith(EINTR);
    if (strikes(FileFault::Kind::shortRead))
        size = std::max(size / 3, std::min(size, std::size_t{1}));
    return __real_read(descriptor, buffer, size);
}

off_t __wrap_lseek(int descriptor, off_t offset, int origin)
{
    return strikes(FileFault::Kind::failedMove) ? failWith(EIO) : __real_lseek(descriptor, offset, origin);
}

int __wrap_fstat(int descriptor, struct stat* status)
{
    return strikes(FileFault::Kind::failedSize) ? failWith(EIO) : __real_fstat(descriptor, status);
}

}  // extern "C"

namespace {

bool allocationsArmed = false;
bool hasStruck = false;
std::size_t allocationsLeft = 0;

void* allocate(std::size_t size) noexcept
{
    if (allocationsArmed) {
        hasStruck = hasStruck || allocationsLeft == 0;
        if (hasStruck)
            return nullptr;
        --allocationsLeft;
    }
    return std::malloc(size != 0 ? size : 1);
}

void* allocateOrThrow(std::size_t size)
{
    void* memory = allocate(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

}  // namespace

AllocationFault::AllocationFault(std::size_t after) noexcept
{
    allocationsArmed = true;
    hasStruck = false;
    allocationsLeft = after;
}

AllocationFault::~AllocationFault()
{
    allocationsArmed = false;
}

bool AllocationFault::struck() const noexcept
{
    return hasStruck;
}

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
