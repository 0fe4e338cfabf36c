/// @file
/// The filter's DLL, loaded.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>
#include <wrl/client.h>

#include <filesystem>

#include "tests/windows/support/hresult.h"

namespace zarnow::test {

using Microsoft::WRL::ComPtr;

inline constexpr const wchar_t* kMpeg2Sample = L"tests/data/mpeg2.ts";
inline constexpr const wchar_t* kTwoProgramsSample = L"tests/data/two-programs.ts";

/// The filter's module, from the directory of the test program.
class Module
{
public:
    Module()
    {
        wchar_t path[MAX_PATH] = L"";
        GetModuleFileNameW(nullptr, path, MAX_PATH);
        module_ = LoadLibraryW(std::filesystem::path(path).replace_filename(L"ZarnowTSSource.ax").c_str());
        EXPECT_NE(nullptr, module_);
    }
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;
    ~Module() { FreeLibrary(module_); }

    HMODULE handle() const { return module_; }
    HRESULT create(REFCLSID clsid, REFIID iid, void** object) const
    {
        ComPtr<IClassFactory> factory;
        const auto get = entry<HRESULT(WINAPI*)(REFCLSID, REFIID, void**)>("DllGetClassObject");
        const HRESULT result = get(clsid, IID_PPV_ARGS(&factory));
        return SUCCEEDED(result) ? factory->CreateInstance(nullptr, iid, object) : result;
    }
    HRESULT canUnload() const { return entry<HRESULT(WINAPI*)()>("DllCanUnloadNow")(); }

private:
    template <class Function>
    Function entry(const char* name) const
    {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
    }

    HMODULE module_;
};

template <class Interface>
ComPtr<Interface> query(IUnknown* object, REFIID iid = __uuidof(Interface))
{
    ComPtr<Interface> result;
    EXPECT_HRESULT(S_OK, object->QueryInterface(iid, reinterpret_cast<void**>(result.GetAddressOf())));
    return result;
}

}  // namespace zarnow::test
