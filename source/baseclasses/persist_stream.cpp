#include "persist_stream.h"

#include <cstdio>
#include <cwchar>
#include <iterator>

namespace {

/// Characters of a number in a stream: eleven places hold every 32-bit one with its sign.
constexpr std::size_t kNumberLength = 12;

}  // namespace

CPersistStream::CPersistStream(IUnknown*, HRESULT*) {}

STDMETHODIMP CPersistStream::IsDirty()
{
    return mPS_fDirty ? S_OK : S_FALSE;
}

STDMETHODIMP CPersistStream::Load(LPSTREAM pStm)
{
    if (!pStm)
        return E_POINTER;
    HRESULT hr = S_OK;
    mPS_dwFileVersion = static_cast<DWORD>(ReadInt(pStm, hr));
    if (FAILED(hr))
        return hr;
    hr = ReadFromStream(pStm);
    if (SUCCEEDED(hr))
        SetDirty(FALSE);
    return hr;
}

STDMETHODIMP CPersistStream::Save(LPSTREAM pStm, BOOL fClearDirty)
{
    if (!pStm)
        return E_POINTER;
    HRESULT hr = WriteInt(pStm, static_cast<int>(GetSoftwareVersion()));
    if (SUCCEEDED(hr))
        hr = WriteToStream(pStm);
    if (SUCCEEDED(hr) && fClearDirty)
        SetDirty(FALSE);
    return hr;
}

STDMETHODIMP CPersistStream::GetSizeMax(ULARGE_INTEGER* pcbSize)
{
    if (!pcbSize)
        return E_POINTER;
    pcbSize->QuadPart = kNumberLength * sizeof(WCHAR) + static_cast<ULONGLONG>(SizeMax());
    return S_OK;
}

HRESULT CPersistStream::SetDirty(BOOL fDirty)
{
    mPS_fDirty = fDirty;
    return S_OK;
}

HRESULT CPersistStream::WriteToStream(IStream*)
{
    return S_OK;
}

HRESULT CPersistStream::ReadFromStream(IStream*)
{
    return S_OK;
}

STDAPI WriteInt(IStream* pIStream, int n)
{
    if (!pIStream)
        return E_POINTER;
    wchar_t text[kNumberLength + 1];
    std::swprintf(text, std::size(text), L"%011d ", n);
    return pIStream->Write(text, kNumberLength * sizeof(WCHAR), nullptr);
}

STDAPI_(int) ReadInt(IStream* pIStream, HRESULT& hr)
{
    if (!pIStream) {
        hr = E_POINTER;
        return 0;
    }
    wchar_t text[kNumberLength + 1] = {};
    ULONG bytes = 0;
    hr = pIStream->Read(text, kNumberLength * sizeof(WCHAR), &bytes);
    if (FAILED(hr))
        return 0;
    wchar_t* end = text;
    const long number = std::wcstol(text, &end, 10);
    const bool whole = bytes == kNumberLength * sizeof(WCHAR) && end == text + kNumberLength - 1;
    hr = whole ? S_OK : E_FAIL;
    return whole ? static_cast<int>(number) : 0;
}
