#include "streams.h"

#include <array>
#include <cwchar>

namespace {

constexpr size_t kNumberLength = 12;  // characters, the last one a space
constexpr ULONG kNumberSize = kNumberLength * sizeof(wchar_t);

}  // namespace

STDAPI WriteInt(IStream* pIStream, int n)
{
    std::array<wchar_t, kNumberLength + 1> text{};
    std::swprintf(text.data(), text.size(), L"%011d ", n);
    return pIStream->Write(text.data(), kNumberSize, nullptr);
}

STDAPI_(int) ReadInt(IStream* pIStream, HRESULT& hr)
{
    std::array<wchar_t, kNumberLength + 1> text{};
    ULONG count = 0;
    hr = pIStream->Read(text.data(), kNumberSize, &count);
    if (FAILED(hr))
        return 0;
    wchar_t* end = nullptr;
    const long number = wcstol(text.data(), &end, 10);
    const bool whole = count == kNumberSize && end != text.data() && *end == L' ';
    hr = whole ? S_OK : E_UNEXPECTED;
    return whole ? static_cast<int>(number) : 0;
}

CPersistStream::CPersistStream(IUnknown*, HRESULT*) {}

STDMETHODIMP CPersistStream::Load(LPSTREAM pStm)
{
    CheckPointer(pStm, E_POINTER);
    HRESULT result = S_OK;
    mPS_dwFileVersion = static_cast<DWORD>(ReadInt(pStm, result));
    return FAILED(result) ? result : ReadFromStream(pStm);
}

STDMETHODIMP CPersistStream::Save(LPSTREAM pStm, BOOL fClearDirty)
{
    CheckPointer(pStm, E_POINTER);
    HRESULT result = WriteInt(pStm, static_cast<int>(GetSoftwareVersion()));
    if (SUCCEEDED(result))
        result = WriteToStream(pStm);
    if (SUCCEEDED(result) && fClearDirty)
        mPS_fDirty = FALSE;
    return result;
}

STDMETHODIMP CPersistStream::GetSizeMax(ULARGE_INTEGER* pcbSize)
{
    CheckPointer(pcbSize, E_POINTER);
    pcbSize->QuadPart = kNumberSize + static_cast<ULONGLONG>(SizeMax());
    return S_OK;
}

HRESULT CPersistStream::SetDirty(BOOL fDirty)
{
    mPS_fDirty = fDirty;
    return S_OK;
}
