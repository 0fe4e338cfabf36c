#include "tests/windows/robustness/module_requests.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <type_traits>
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
    if (account.thread != GetCurrentThreadId())
        return false;
    if (account.before > 0) {
        --account.before;
        return false;
    }
    if (account.count == 0)
        return false;
    --account.count;
    account.failed = true;
    return true;
}

void* taken(void* block)
{
    const std::lock_guard lock(account.mutex);
    if (block != nullptr)
        account.blocks.insert(block);
    return block;
}

void* givenBack(void* block)
{
    const std::lock_guard lock(account.mutex);
    account.blocks.erase(block);
    return block;
}

/// The function itself, whatever stands in the import tables.
template <class Function>
Function original(const wchar_t* library, const char* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(library), name)));
}

const auto realMalloc = &std::malloc;
const auto realCalloc = &std::calloc;
const auto realFree = &std::free;
const auto realCoTaskMemAlloc = &CoTaskMemAlloc;
const auto realCoTaskMemFree = original<decltype(&CoTaskMemFree)>(L"ole32.dll", "CoTaskMemFree");
const auto realSysAllocString = &SysAllocString;
const auto realSysFreeString = original<decltype(&SysFreeString)>(L"oleaut32.dll", "SysFreeString");
const auto realVirtualAlloc = &VirtualAlloc;
const auto realVirtualFree = &VirtualFree;
const auto realCreateEvent = &CreateEventW;
const auto realCreateSemaphore = &CreateSemaphoreW;
const auto realCreateThread = &CreateThread;
const auto realCreateDialogParam = &CreateDialogParamW;

/// What stands in for such a function, with the function's own arguments.
template <auto& real, class Function = std::remove_cvref_t<decltype(real)>>
struct StandIn;
template <auto& real, class Result, class First, class... Rest>
struct StandIn<real, Result(WINAPI*)(First, Rest...)>
{
    static Result WINAPI memory(First first, Rest... rest)
    {
        return refused() ? nullptr : static_cast<Result>(taken(real(first, rest...)));
    }
    static Result WINAPI object(First first, Rest... rest) { return refused() ? nullptr : real(first, rest...); }
    static Result WINAPI release(First block, Rest... rest)
    {
        return real(static_cast<First>(givenBack(block)), rest...);
    }
};

void* reallocated(void* block, std::size_t size)
{
    return refused() ? nullptr : taken(std::realloc(givenBack(block), size));
}

template <class Function>
void* asPointer(Function* function)
{
    return reinterpret_cast<void*>(function);
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
{
    const std::pair<const char*, void*> replacements[] = {
        {"malloc", asPointer(StandIn<realMalloc>::memory)},
        {"calloc", asPointer(StandIn<realCalloc>::memory)},
        {"realloc", asPointer(reallocated)},
        {"free", asPointer(StandIn<realFree>::release)},
        {"CoTaskMemAlloc", asPointer(StandIn<realCoTaskMemAlloc>::memory)},
        {"CoTaskMemFree", asPointer(StandIn<realCoTaskMemFree>::release)},
        {"SysAllocString", asPointer(StandIn<realSysAllocString>::memory)},
        {"SysFreeString", asPointer(StandIn<realSysFreeString>::release)},
        {"VirtualAlloc", asPointer(StandIn<realVirtualAlloc>::memory)},
        {"VirtualFree", asPointer(StandIn<realVirtualFree>::release)},
        {"CreateEventW", asPointer(StandIn<realCreateEvent>::object)},
        {"CreateSemaphoreW", asPointer(StandIn<realCreateSemaphore>::object)},
        {"CreateThread", asPointer(StandIn<realCreateThread>::object)},
        {"CreateDialogParamW", asPointer(StandIn<realCreateDialogParam>::object)},
    };
    for (const auto& [name, function] : replacements)
        patches_.emplace_back(module, name, function);
    // What is handed out is freed by the receiver: the tests and their filters.
    const HMODULE program = GetModuleHandleW(nullptr);
    patches_.emplace_back(program, "CoTaskMemFree", asPointer(StandIn<realCoTaskMemFree>::release));
    patches_.emplace_back(program, "SysFreeString", asPointer(StandIn<realSysFreeString>::release));
}

ModuleRequests::~ModuleRequests()
{
    succeedAgain();
    patches_.clear();
    account.blocks.clear();
}

void ModuleRequests::fail(long number, long count)
{
    const std::lock_guard lock(account.mutex);
    account.thread = GetCurrentThreadId();
    account.before = number - 1;
    account.count = count;
    account.failed = false;
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
