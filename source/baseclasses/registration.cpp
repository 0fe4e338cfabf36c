#include "registration.h"

#include <array>
#include <cwchar>

#include "com_ptr.h"

namespace {

constexpr wchar_t kClassKey[] = L"CLSID\\";
constexpr std::size_t kGuidLength = 38;
using KeyName = std::array<wchar_t, std::size(kClassKey) + kGuidLength>;

KeyName classKeyName(REFCLSID clsid)
{
    KeyName name{};
    std::wmemcpy(name.data(), kClassKey, std::size(kClassKey));
    StringFromGUID2(clsid, name.data() + std::size(kClassKey) - 1, kGuidLength + 1);
    return name;
}

class RegistryKey
{
public:
    RegistryKey() = default;
    ~RegistryKey()
    {
        if (m_key)
            RegCloseKey(m_key);
    }
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;

    LSTATUS create(HKEY parent, LPCWSTR name)
    {
        return RegCreateKeyExW(parent, name, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr, &m_key, nullptr);
    }
    LSTATUS set(LPCWSTR name, LPCWSTR text) const
    {
        const auto bytes = static_cast<DWORD>((std::wcslen(text) + 1) * sizeof(WCHAR));
        return RegSetValueExW(m_key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), bytes);
    }
    HKEY get() const { return m_key; }

private:
    HKEY m_key = nullptr;
};

LSTATUS writeServer(HKEY classKey, LPCWSTR serverType, LPCWSTR fileName, LPCWSTR threadingModel)
{
    RegistryKey server;
    LSTATUS status = server.create(classKey, serverType);
    if (status == ERROR_SUCCESS)
        status = server.set(nullptr, fileName);
    if (status == ERROR_SUCCESS)
        status = server.set(L"ThreadingModel", threadingModel);
    return status;
}

bool isAbsent(HRESULT hr)
{
    return hr == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) || hr == HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
}

HRESULT unregisterFilter(IFilterMapper2& mapper, REFCLSID clsid)
{
    const HRESULT hr = mapper.UnregisterFilter(nullptr, nullptr, clsid);
    return isAbsent(hr) ? S_OK : hr;
}

HRESULT registerFilter(IFilterMapper2& mapper, const AMOVIESETUP_FILTER& filter)
{
    REGFILTER2 entry{};
    entry.dwVersion = 1;
    entry.dwMerit = filter.dwMerit;
    entry.cPins = filter.nPins;
    entry.rgPins = filter.lpPin;
    return mapper.RegisterFilter(*filter.clsID, filter.strName, nullptr, nullptr, nullptr, &entry);
}

}  // namespace

STDAPI AMovieSetupRegisterServer(CLSID clsServer, LPCWSTR szDescription, LPCWSTR szFileName, LPCWSTR szThreadingModel,
                                 LPCWSTR szServerType)
{
    if (!szDescription || !szFileName || !szThreadingModel || !szServerType)
        return E_POINTER;
    RegistryKey key;
    LSTATUS status = key.create(HKEY_CLASSES_ROOT, classKeyName(clsServer).data());
    if (status == ERROR_SUCCESS)
        status = key.set(nullptr, szDescription);
    if (status == ERROR_SUCCESS)
        status = writeServer(key.get(), szServerType, szFileName, szThreadingModel);
    return HRESULT_FROM_WIN32(status);
}

STDAPI AMovieSetupUnregisterServer(CLSID clsServer)
{
    const HRESULT hr = HRESULT_FROM_WIN32(RegDeleteTreeW(HKEY_CLASSES_ROOT, classKeyName(clsServer).data()));
    return isAbsent(hr) ? S_OK : hr;
}

HRESULT AMovieSetupRegisterFilter2(const AMOVIESETUP_FILTER* psetupdata, IFilterMapper2* pIFM2, BOOL bRegister)
{
    if (!psetupdata)
        return S_FALSE;
    ComPtr<IFilterMapper2> mapper(pIFM2);
    if (!mapper) {
        const HRESULT hr =
            CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2, mapper.putVoid());
        if (FAILED(hr))
            return hr;
    }
    // An entry of an earlier version goes as a whole.
    const HRESULT hr = unregisterFilter(*mapper.get(), *psetupdata->clsID);
    return FAILED(hr) || !bRegister ? hr : registerFilter(*mapper.get(), *psetupdata);
}
