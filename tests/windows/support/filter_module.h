/// @file
/// The filter's DLL, loaded.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>
#include <wrl/client.h>

#include "tests/windows/support/hresult.h"

namespace zarnow::test {

using Microsoft::WRL::ComPtr;

inline constexpr const wchar_t* kMpeg2Sample = L"tests/data/mpeg2.ts";
inline constexpr const wchar_t* kTwoProgramsSample = L"tests/data/two-programs.ts";

/// The filter's module, from the directory of the test program.
class Module
{
public:
    Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;
    ~Module();

    HMODULE handle() const { return module_; }
    HRESULT classObject(REFCLSID clsid, REFIID iid, void** object) const;
    HRESULT create(REFCLSID clsid, REFIID iid, void** object) const;
    HRESULT canUnload() const;
    HRESULT call(const char* entryPoint) const;

private:
    FARPROC entry(const char* name) const;

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
