/// @file
/// Persistence of a filter's state in a stream.

#ifndef ZARNOW_BASECLASSES_PERSIST_STREAM_H
#define ZARNOW_BASECLASSES_PERSIST_STREAM_H

#include <windows.h>
#include <objidl.h>

/// IPersistStream. The version number goes ahead of the data as WriteInt writes it. The derived class brings
/// IUnknown and GetClassID.
class CPersistStream : public IPersistStream
{
public:
    CPersistStream(IUnknown* punk, HRESULT* phr);
    virtual ~CPersistStream() = default;

    /// S_FALSE until something was changed, then S_OK.
    STDMETHODIMP IsDirty() override;
    STDMETHODIMP Load(LPSTREAM pStm) override;
    STDMETHODIMP Save(LPSTREAM pStm, BOOL fClearDirty) override;
    /// Bytes that Save writes at most.
    STDMETHODIMP GetSizeMax(ULARGE_INTEGER* pcbSize) override;

    HRESULT SetDirty(BOOL fDirty);

    /// Bytes that WriteToStream writes at most.
    virtual int SizeMax() { return 0; }
    virtual HRESULT WriteToStream(IStream* pStream);
    /// The version of what is read stands in mPS_dwFileVersion.
    virtual HRESULT ReadFromStream(IStream* pStream);
    virtual DWORD GetSoftwareVersion() { return 0; }

protected:
    DWORD mPS_dwFileVersion = 0;
    BOOL mPS_fDirty = FALSE;
};

/// Writes a number as twelve wide characters: decimal, eleven places with leading zeros, then a space.
STDAPI WriteInt(IStream* pIStream, int n);
/// Reads a number as WriteInt writes it. hr gets S_OK, what the stream said when it failed, or E_FAIL when there is
/// no such number; the result is 0 then.
STDAPI_(int) ReadInt(IStream* pIStream, HRESULT& hr);

#endif
