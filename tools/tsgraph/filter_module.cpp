#include "tools/tsgraph/filter_module.h"

#include <cstdio>

#include "source/filter/itarnwell.h"
#include "tools/common/utf8.h"
#include "tools/tsgraph/failure.h"

namespace tsgraph {
namespace {

template <typename Function>
Function exported(HMODULE module, const char* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

std::wstring fullPath(const std::wstring& path)
{
    std::wstring result(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetFullPathNameW(path.c_str(), static_cast<DWORD>(result.size()), result.data(), nullptr);
        if (length == 0)
            return path;
        const bool fits = length < result.size();
        result.resize(length);
        if (fits)
            return result;
    }
}

}  // namespace

FilterModule::FilterModule(const std::wstring& dll) : path_(dll)
{
    if (path_.empty())
        return;
    module_ = LoadLibraryExW(fullPath(path_).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (module_ == nullptr)
        throw Failure(toUtf8(path_) + ": cannot be loaded: " + resultText(HRESULT_FROM_WIN32(GetLastError())));
}

FilterModule::~FilterModule()
{
    if (module_ == nullptr)
        return;
    const auto canUnloadNow = exported<HRESULT(STDAPICALLTYPE*)()>(module_, "DllCanUnloadNow");
    if (canUnloadNow == nullptr || canUnloadNow() == S_OK)
        FreeLibrary(module_);
    else
        std::fprintf(stderr, "tsgraph: warning: %s still has live objects and stays loaded\n", toUtf8(path_).c_str());
}

ComPtr<IBaseFilter> FilterModule::createFilter() const
{
    if (module_ != nullptr)
        return createFromDll();
    ComPtr<IBaseFilter> filter;
    check(CoCreateInstance(CLSID_ZarnowTSSource, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                           reinterpret_cast<void**>(filter.GetAddressOf())),
          "the registered source filter cannot be created (register it, or name its file with --dll)");
    return filter;
}

ComPtr<IBaseFilter> FilterModule::createFromDll() const
{
    const std::string name = toUtf8(path_);
    const auto getClassObject = exported<decltype(&DllGetClassObject)>(module_, "DllGetClassObject");
    if (getClassObject == nullptr)
        throw Failure(name + ": has no DllGetClassObject, so it is no COM server");
    ComPtr<IClassFactory> factory;
    check(getClassObject(CLSID_ZarnowTSSource, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf())),
          name + ": does not have the source filter");
    ComPtr<IBaseFilter> filter;
    check(factory->CreateInstance(nullptr, IID_IBaseFilter, reinterpret_cast<void**>(filter.GetAddressOf())),
          name + ": the source filter cannot be created");
    return filter;
}

}  // namespace tsgraph
