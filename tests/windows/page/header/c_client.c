/* itarnwell.h in C, with no other include: it must compile alone. */

#include "itarnwell.h"

HRESULT countPrograms(IUnknown* filter, DWORD* count);

HRESULT countPrograms(IUnknown* filter, DWORD* count)
{
    ITarnwell* tarnwell = NULL;
    HRESULT result = filter->lpVtbl->QueryInterface(filter, &IID_ITarnwell, (void**)&tarnwell);
    if (FAILED(result))
        return result;
    result = tarnwell->lpVtbl->GetProgramCount(tarnwell, count);
    tarnwell->lpVtbl->Release(tarnwell);
    return result;
}
