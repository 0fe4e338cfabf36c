/// @file
/// Saving a filter's state in a stream, behind a version number.
#pragma once

#include <objidl.h>

/// A number as twelve wide characters: decimal text, padded.
STDAPI WriteInt(IStream* pIStream, int n);
/// @param hr  out: E_UNEXPECTED when there is no number
STDAPI_(int) ReadInt(IStream* pIStream, HRESULT& hr);

class CPersistStream : public IPersistStream
{
public:
    CPersistStream(IUnknown* punk, HRESULT* phr);
    virtual ~CPersistStream() = default;

    STDMETHODIMP IsDirty() override { return mPS_fDirty ? S_OK : S_FALSE; }
    STDMETHODIMP Load(LPSTREAM pStm) override;
    STDMETHODIMP Save(LPSTREAM pStm, BOOL fClearDirty) override;
    STDMETHODIMP GetSizeMax(ULARGE_INTEGER* pcbSize) override;

    HRESULT SetDirty(BOOL fDirty);

    /// Of the data as it is written now, and as it was read.
    virtual DWORD GetSoftwareVersion() { return 0; }
    DWORD mPS_dwFileVersion = 0;

    virtual int SizeMax() { return 0; }
    virtual HRESULT WriteToStream(IStream*) { return S_OK; }
    virtual HRESULT ReadFromStream(IStream*) { return S_OK; }

protected:
    BOOL mPS_fDirty = FALSE;
};
