// itarnwell.h in C++, with no other include: it must compile alone, also without any C++20.

#include "itarnwell.h"

HRESULT selectFirst(IUnknown* filter);

HRESULT selectFirst(IUnknown* filter)
{
    ITarnwell* tarnwell = nullptr;
    HRESULT result = filter->QueryInterface(IID_PPV_ARGS(&tarnwell));
    if (FAILED(result))
        return result;
    result = tarnwell->SelectProgram(0);
    tarnwell->Release();
    return result;
}
