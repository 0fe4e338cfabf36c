#include "tests/windows/support/filter_module.h"

#include <filesystem>
#include <string>

namespace zarnow::test {

Module::Module()
{
    std::wstring path(MAX_PATH, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), MAX_PATH));
    module_ = LoadLibraryW((std::filesystem::path(path).parent_path() / L"ZarnowTSSource.ax").c_str());
    EXPECT_NE(nullptr, module_);
}

Module::~Module()
{
    FreeLibrary(module_);
}

FARPROC Module::entry(const char* name) const
{
    return GetProcAddress(module_, name);
}

HRESULT Module::classObject(REFCLSID clsid, REFIID iid, void** object) const
{
    using Function = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
    return reinterpret_cast<Function>(reinterpret_cast<void*>(entry("DllGetClassObject")))(clsid, iid, object);
}

HRESULT Module::create(REFCLSID clsid, REFIID iid, void** object) const
{
    ComPtr<IClassFactory> factory;
    const HRESULT result = classObject(clsid, IID_PPV_ARGS(&factory));
    return SUCCEEDED(result) ? factory->CreateInstance(nullptr, iid, object) : result;
}

HRESULT Module::call(const char* entryPoint) const
{
    using Function = HRESULT(WINAPI*)();
    return reinterpret_cast<Function>(reinterpret_cast<void*>(entry(entryPoint)))();
}

HRESULT Module::canUnload() const
{
    return call("DllCanUnloadNow");
}

}  // namespace zarnow::test
