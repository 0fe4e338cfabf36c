/* itarnwell.h in C, with no other include: it must compile alone. */

#include "itarnwell.h"

HRESULT ask(IUnknown* filter, ITarnwell** tarnwell, DWORD* count)
{
    const HRESULT result = filter->lpVtbl->QueryInterface(filter, &IID_ITarnwell, (void**)tarnwell);
    return SUCCEEDED(result) ? (*tarnwell)->lpVtbl->GetProgramCount(*tarnwell, count) : result;
}
