/// @file
/// The filter: a push source with one output pin, property pages and a persisted program selection.
#pragma once

#include <streams.h>

#include "filter/mpeg_transp_stream.h"

namespace zarnow {

class CMPEGTSSource final : public CSource, public ISpecifyPropertyPages, public CPersistStream
{
public:
    DECLARE_IUNKNOWN

    /// The class factory's entry. @param phr  E_OUTOFMEMORY when the filter or its pin could not be allocated
    static CUnknown* WINAPI CreateInstance(LPUNKNOWN pUnkOuter, HRESULT* phr);

    /// The pin's interfaces are handed out as the filter's.
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    STDMETHODIMP Pause() override;
    STDMETHODIMP GetClassID(CLSID* pClsid) override;
    STDMETHODIMP GetPages(CAUUID* pPages) override;

    // CPersistStream: the selected program's PMT PID and program_number, 16 bits each, little-endian
    int SizeMax() override { return 8; }
    HRESULT WriteToStream(IStream* pStream) override;
    HRESULT ReadFromStream(IStream* pStream) override;

private:
    CMPEGTSSource(LPUNKNOWN pUnkOuter, HRESULT* phr);

    CMPEGTranspStream* stream = nullptr;  // owned by the base's stream array; null only when creation failed
};

}  // namespace zarnow
