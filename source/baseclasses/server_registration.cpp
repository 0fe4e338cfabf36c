// On its own, so that a program without a table of classes can register single filters.

#include <memory>
#include <new>

#include "class_factory.h"
#include "registration.h"

namespace {

/// COM for the length of a scope, whatever kind of apartment the thread is in.
class ComScope
{
public:
    ComScope() : m_initialised(SUCCEEDED(CoInitialize(nullptr))) {}
    ~ComScope()
    {
        if (m_initialised)
            CoUninitialize();
    }
    ComScope(const ComScope&) = delete;
    ComScope& operator=(const ComScope&) = delete;

private:
    const bool m_initialised;
};

constexpr DWORD kLongestPath = 32768;

HRESULT modulePath(WCHAR* path, DWORD size)
{
    const DWORD length = GetModuleFileNameW(g_hInst, path, size);
    if (length == 0)
        return HRESULT_FROM_WIN32(GetLastError());
    return length < size ? S_OK : HRESULT_FROM_WIN32(ERROR_FILENAME_EXCED_RANGE);
}

HRESULT registerClass(const CFactoryTemplate& entry, LPCWSTR path)
{
    const HRESULT hr = AMovieSetupRegisterServer(*entry.m_ClsID, entry.m_Name, path);
    if (FAILED(hr) || !entry.m_pAMovieSetup_Filter)
        return hr;
    return AMovieSetupRegisterFilter2(entry.m_pAMovieSetup_Filter, nullptr, TRUE);
}

HRESULT registerAll()
{
    const std::unique_ptr<WCHAR[]> path(new (std::nothrow) WCHAR[kLongestPath]);
    HRESULT hr = path ? modulePath(path.get(), kLongestPath) : E_OUTOFMEMORY;
    for (int i = 0; i < g_cTemplates && SUCCEEDED(hr); ++i)
        hr = registerClass(g_Templates[i], path.get());
    return hr;
}

HRESULT unregisterClass(const CFactoryTemplate& entry)
{
    HRESULT hr = S_OK;
    if (entry.m_pAMovieSetup_Filter)
        hr = AMovieSetupRegisterFilter2(entry.m_pAMovieSetup_Filter, nullptr, FALSE);
    const HRESULT server = AMovieSetupUnregisterServer(*entry.m_ClsID);
    return FAILED(hr) ? hr : server;
}

/// Takes away what it can; the first error.
HRESULT unregisterAll()
{
    HRESULT first = S_OK;
    for (int i = 0; i < g_cTemplates; ++i) {
        const HRESULT hr = unregisterClass(g_Templates[i]);
        if (FAILED(hr) && SUCCEEDED(first))
            first = hr;
    }
    return first;
}

}  // namespace

STDAPI AMovieDllRegisterServer2(BOOL bRegister)
{
    const ComScope com;
    return bRegister ? registerAll() : unregisterAll();
}
