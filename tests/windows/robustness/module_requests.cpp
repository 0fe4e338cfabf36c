#include "tests/windows/robustness/module_requests.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <tuple>
#include <unordered_set>
#include <utility>

#include <objbase.h>
#include <oleauto.h>

namespace zarnow::test {

namespace {

template <class Address>
Address at(HMODULE module, DWORD offset)
{
    return reinterpret_cast<Address>(reinterpret_cast<BYTE*>(module) + offset);
}

/// The entry of the module's import address table; null when it does not import the function.
void** importEntry(HMODULE module, const char* function)
{
    const auto* headers =
        at<IMAGE_NT_HEADERS*>(module, static_cast<DWORD>(reinterpret_cast<IMAGE_DOS_HEADER*>(module)->e_lfanew));
    const auto* imported = at<IMAGE_IMPORT_DESCRIPTOR*>(
        module, headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
    for (; imported->Name != 0; ++imported) {
        const auto* names = at<IMAGE_THUNK_DATA*>(module, imported->OriginalFirstThunk);
        auto* addresses = at<IMAGE_THUNK_DATA*>(module, imported->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++addresses) {
            if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal))
                continue;
            const auto* name = at<IMAGE_IMPORT_BY_NAME*>(module, static_cast<DWORD>(names->u1.AddressOfData));
            if (std::strcmp(reinterpret_cast<const char*>(name->Name), function) == 0)
                return reinterpret_cast<void**>(&addresses->u1.Function);
        }
    }
    return nullptr;
}

struct Account
{
    std::mutex mutex;
    std::unordered_set<void*> blocks;
    DWORD thread = 0;  // whose requests are counted; 0: nobody's
    long before = 0;   // requests to come before the first to fail
    long count = 0;    // requests to fail
    bool failed = false;
};

Account account;

bool refused()
{
    const std::lock_guard lock(account.mutex);
    const bool fails = account.thread == GetCurrentThreadId() && account.before-- <= 0 && account.count-- > 0;
    account.failed |= fails;
    return fails;
}

void* taken(void* block)
{
    const std::lock_guard lock(account.mutex);
    if (block != nullptr)
        account.blocks.insert(block);
    return block;
}

void givenBack(void* block)
{
    const std::lock_guard lock(account.mutex);
    account.blocks.erase(block);
}

enum class Does { takesMemory, resizesMemory, givesMemoryBack, makesObject };

/// A function's name, which tells its stand-in from those of its kin.
template <std::size_t size>
struct Name
{
    consteval Name(const char (&name)[size]) { std::copy_n(name, size, text); }
    char text[size];
};

template <Name name, class Result, class... Arguments>
Result(WINAPI* real)(Arguments...) = nullptr;

template <Name name, Does does, class Result, class... Arguments>
Result WINAPI standIn(Arguments... arguments)
{
    if constexpr (does != Does::givesMemoryBack)
        if (refused())
            return nullptr;
    if constexpr (does == Does::givesMemoryBack || does == Does::resizesMemory)
        givenBack(std::get<0>(std::tuple(arguments...)));
    if constexpr (does == Does::takesMemory || does == Does::resizesMemory)
        return static_cast<Result>(taken(real<name, Result, Arguments...>(arguments...)));
    else
        return real<name, Result, Arguments...>(arguments...);
}

/// @param function  itself, so ahead of a patch of the program's own import of it
template <Name name, Does does, class Result, class... Arguments>
ImportPatch patch(HMODULE module, Result(WINAPI* function)(Arguments...))
{
    real<name, Result, Arguments...> = function;
    return {module, name.text, reinterpret_cast<void*>(standIn<name, does, Result, Arguments...>)};
}

}  // namespace

ImportPatch::ImportPatch(HMODULE module, const char* function, void* replacement)
    : entry_(importEntry(module, function))
{
    if (entry_ == nullptr)
        return;
    original_ = *entry_;
    write(entry_, replacement);
}

ImportPatch::~ImportPatch()
{
    if (entry_ != nullptr)
        write(entry_, original_);
}

void ImportPatch::write(void** entry, void* function)
{
    DWORD before = 0;
    VirtualProtect(entry, sizeof(*entry), PAGE_READWRITE, &before);
    *entry = function;
    VirtualProtect(entry, sizeof(*entry), before, &before);
}

ModuleRequests::ModuleRequests(HMODULE module)
    : patches_{
          patch<"malloc", Does::takesMemory>(module, std::malloc),
          patch<"calloc", Does::takesMemory>(module, std::calloc),
          patch<"realloc", Does::resizesMemory>(module, std::realloc),
          patch<"free", Does::givesMemoryBack>(module, std::free),
          patch<"CoTaskMemAlloc", Does::takesMemory>(module, CoTaskMemAlloc),
          patch<"CoTaskMemFree", Does::givesMemoryBack>(module, CoTaskMemFree),
          patch<"SysAllocString", Does::takesMemory>(module, SysAllocString),
          patch<"SysFreeString", Does::givesMemoryBack>(module, SysFreeString),
          patch<"VirtualAlloc", Does::takesMemory>(module, VirtualAlloc),
          patch<"VirtualFree", Does::givesMemoryBack>(module, VirtualFree),
          patch<"CreateEventW", Does::makesObject>(module, CreateEventW),
          patch<"CreateSemaphoreW", Does::makesObject>(module, CreateSemaphoreW),
          patch<"CreateThread", Does::makesObject>(module, CreateThread),
          patch<"CreateDialogParamW", Does::makesObject>(module, CreateDialogParamW),
          // What is handed out is freed by the receiver: the tests and their filters.
          patch<"CoTaskMemFree", Does::givesMemoryBack>(GetModuleHandleW(nullptr), CoTaskMemFree),
          patch<"SysFreeString", Does::givesMemoryBack>(GetModuleHandleW(nullptr), SysFreeString),
      }
{
}

ModuleRequests::~ModuleRequests()
{
    succeedAgain();
    account.blocks.clear();
}

void ModuleRequests::fail(long number, long count)
{
    const std::lock_guard lock(account.mutex);
    account.thread = GetCurrentThreadId();
    account.before = number - 1;
    account.count = count;
}

bool ModuleRequests::succeedAgain()
{
    const std::lock_guard lock(account.mutex);
    account.thread = 0;
    return std::exchange(account.failed, false);
}

std::size_t ModuleRequests::blocksInUse() const
{
    const std::lock_guard lock(account.mutex);
    return account.blocks.size();
}

}  // namespace zarnow::test
