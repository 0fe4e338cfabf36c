#include "tests/windows/robustness/module_requests.h"

#include <cstring>
#include <mutex>
#include <unordered_set>
#include <utility>

namespace zarnow::test {

namespace {

template <class Type>
Type* at(HMODULE module, std::uint64_t offset)
{
    return reinterpret_cast<Type*>(reinterpret_cast<BYTE*>(module) + offset);
}

/// The entry of the module's import address table; null when it does not import the function.
void** importEntry(HMODULE module, const char* function)
{
    const auto* headers = at<IMAGE_NT_HEADERS>(module, static_cast<DWORD>(at<IMAGE_DOS_HEADER>(module, 0)->e_lfanew));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (auto* from = at<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress); from->Name != 0; ++from) {
        const auto* name = at<IMAGE_THUNK_DATA>(module, from->OriginalFirstThunk);
        auto* address = at<IMAGE_THUNK_DATA>(module, from->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++address) {
            const auto* imported = at<IMAGE_IMPORT_BY_NAME>(module, name->u1.AddressOfData);
            if (!IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal) && std::strcmp(imported->Name, function) == 0)
                return reinterpret_cast<void**>(&address->u1.Function);
        }
    }
    return nullptr;
}

std::mutex mutex;
std::unordered_set<void*> blocks;
DWORD failingThread = 0;  // 0: none
long requestsBefore = 0;  // the first to fail
long requestsToFail = 0;
bool hasFailed = false;

bool refused()
{
    const std::lock_guard lock(mutex);
    const bool fails = failingThread == GetCurrentThreadId() && requestsBefore-- <= 0 && requestsToFail-- > 0;
    hasFailed |= fails;
    return fails;
}

void* taken(void* block)
{
    const std::lock_guard lock(mutex);
    if (block != nullptr)
        blocks.insert(block);
    return block;
}

void givenBack(void* block)
{
    const std::lock_guard lock(mutex);
    blocks.erase(block);
}

enum class Does { takesMemory, resizesMemory, givesMemoryBack, makesObject };

/// Any of them: four arguments come in registers, more on the stack, where everybody looks at their own only. To pass
/// on six is to pass on all there are.
using Function = void*(WINAPI*)(void*, void*, void*, void*, void*, void*);

struct Import
{
    const char* name;
    Does does;
    Function real = nullptr;
};

Import imports[] = {
    {"CoTaskMemFree", Does::givesMemoryBack},
    {"SysFreeString", Does::givesMemoryBack},
    {"malloc", Does::takesMemory},
    {"calloc", Does::takesMemory},
    {"realloc", Does::resizesMemory},
    {"free", Does::givesMemoryBack},
    {"CoTaskMemAlloc", Does::takesMemory},
    {"SysAllocString", Does::takesMemory},
    {"VirtualAlloc", Does::takesMemory},
    {"VirtualFree", Does::givesMemoryBack},
    {"CreateEventW", Does::makesObject},
    {"CreateSemaphoreW", Does::makesObject},
    {"CreateThread", Does::makesObject},
    {"CreateDialogParamW", Does::makesObject},
};

template <std::size_t index>
void* WINAPI standIn(void* first, void* second, void* third, void* fourth, void* fifth, void* sixth)
{
    const auto& [name, does, real] = imports[index];
    if (does != Does::givesMemoryBack && refused())
        return nullptr;
    if (does == Does::givesMemoryBack || does == Does::resizesMemory)
        givenBack(first);
    void* const result = real(first, second, third, fourth, fifth, sixth);
    return does == Does::takesMemory || does == Does::resizesMemory ? taken(result) : result;
}

template <std::size_t... index>
void watchImports(HMODULE module, std::index_sequence<index...> /*which*/)
{
    const auto watch = [module](Import& import, Function replacement) {
        const auto replaced =
            reinterpret_cast<Function>(replaceImport(module, import.name, reinterpret_cast<void*>(replacement)));
        if (replaced != nullptr && replaced != replacement)
            import.real = replaced;
    };
    (watch(imports[index], standIn<index>), ...);
}

}  // namespace

void* replaceImport(HMODULE module, const char* function, void* replacement)
{
    void** const entry = importEntry(module, function);
    if (entry == nullptr)
        return nullptr;
    DWORD protection = 0;
    VirtualProtect(entry, sizeof(*entry), PAGE_READWRITE, &protection);
    void* const original = std::exchange(*entry, replacement);
    VirtualProtect(entry, sizeof(*entry), protection, &protection);
    return original;
}

void watchRequests(HMODULE module)
{
    watchImports(module, std::make_index_sequence<std::size(imports)>());
    // What is handed out is freed by the receiver: the tests and their filters.
    watchImports(GetModuleHandleW(nullptr), std::index_sequence<0, 1>());
    const std::lock_guard lock(mutex);
    blocks.clear();
}

void failRequests(long number, long count)
{
    const std::lock_guard lock(mutex);
    failingThread = GetCurrentThreadId();
    requestsBefore = number - 1;
    requestsToFail = count;
}

bool letRequestsSucceed()
{
    const std::lock_guard lock(mutex);
    failingThread = 0;
    return std::exchange(hasFailed, false);
}

std::size_t blocksInUse()
{
    const std::lock_guard lock(mutex);
    return blocks.size();
}

}  // namespace zarnow::test
