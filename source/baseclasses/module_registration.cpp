// The module's classes in the registry.

#include "streams.h"

#include <array>
#include <string>

namespace {

constexpr const wchar_t* kThreadingModel = L"Both";

HRESULT resultOf(LSTATUS status)
{
    return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

std::wstring classKey(const CLSID& clsid)
{
    std::array<wchar_t, 40> text{};
    StringFromGUID2(clsid, text.data(), static_cast<int>(text.size()));
    return std::wstring(L"CLSID\\") + text.data();
}

/// Of any length: the buffer grows until the path fits.
HRESULT modulePath(std::wstring& path)
{
    for (DWORD size = MAX_PATH; size <= 0x8000; size *= 2) {
        path.resize(size);
        const DWORD length = GetModuleFileNameW(g_hInst, path.data(), size);
        if (length == 0)
            return HRESULT_FROM_WIN32(GetLastError());
        if (length < size) {
            path.resize(length);
            return S_OK;
        }
    }
    return E_FAIL;
}

/// @param name  of the value; null: the key's default value
HRESULT setText(const std::wstring& key, const wchar_t* name, const std::wstring& text)
{
    return resultOf(RegSetKeyValueW(HKEY_CLASSES_ROOT, key.c_str(), name, REG_SZ, text.c_str(),
                                    static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))));
}

HRESULT registerClass(const CFactoryTemplate& entry, const std::wstring& path)
{
    const std::wstring key = classKey(*entry.m_ClsID);
    const std::wstring server = key + L"\\InprocServer32";
    HRESULT result = setText(key, nullptr, entry.m_Name);
    if (SUCCEEDED(result))
        result = setText(server, nullptr, path);
    return SUCCEEDED(result) ? setText(server, L"ThreadingModel", kThreadingModel) : result;
}

HRESULT unregisterClass(const CFactoryTemplate& entry)
{
    const LSTATUS status = RegDeleteTreeW(HKEY_CLASSES_ROOT, classKey(*entry.m_ClsID).c_str());
    return status == ERROR_FILE_NOT_FOUND ? S_OK : resultOf(status);
}

HRESULT registerClasses(BOOL bRegister)
{
    std::wstring path;
    HRESULT result = modulePath(path);
    for (int i = 0; i < g_cTemplates && SUCCEEDED(result); ++i)
        result = bRegister ? registerClass(g_Templates[i], path) : unregisterClass(g_Templates[i]);
    return result;
}

HRESULT registerFilters(BOOL bRegister)
{
    HRESULT result = S_OK;
    for (int i = 0; i < g_cTemplates && SUCCEEDED(result); ++i) {
        if (g_Templates[i].m_pAMovieSetup_Filter != nullptr)
            result = AMovieSetupRegisterFilter2(g_Templates[i].m_pAMovieSetup_Filter, nullptr, bRegister);
    }
    return result;
}

/// COM for as long as a registration goes on; a thread that has it already keeps its own way.
class ComScope
{
public:
    ComScope() : m_result(CoInitialize(nullptr)) {}
    ComScope(const ComScope&) = delete;
    ComScope& operator=(const ComScope&) = delete;
    ~ComScope()
    {
        if (SUCCEEDED(m_result))
            CoUninitialize();
    }

private:
    HRESULT m_result;
};

}  // namespace

STDAPI AMovieDllRegisterServer2(BOOL bRegister)
{
    const ComScope com;
    try {
        if (!bRegister) {
            const HRESULT result = registerFilters(FALSE);
            const HRESULT classes = registerClasses(FALSE);
            return FAILED(result) ? result : classes;
        }
        const HRESULT result = registerClasses(TRUE);
        return SUCCEEDED(result) ? registerFilters(TRUE) : result;
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}
