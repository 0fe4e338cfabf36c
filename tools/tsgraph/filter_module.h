#pragma once

#include <streams.h>

#include <string>

#include "tools/common/com_ptr.h"

namespace tsgraph {

/// Where the source filter comes from: a DLL that need not be registered, or the class registered for it. Keeps the DLL
/// loaded as long as it lives, and longer when the DLL says that objects of it are still alive.
class FilterModule
{
public:
    /// @param dll  path, empty for the registered class
    explicit FilterModule(const std::wstring& dll);
    ~FilterModule();
    FilterModule(const FilterModule&) = delete;
    FilterModule& operator=(const FilterModule&) = delete;

    /// Throws a Failure when there is no such filter.
    ComPtr<IBaseFilter> createFilter() const;

private:
    ComPtr<IBaseFilter> createFromDll() const;

    std::wstring path_;
    HMODULE module_ = nullptr;
};

}  // namespace tsgraph
