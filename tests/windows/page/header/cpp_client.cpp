// itarnwell.h in C++, with no other include: it must compile alone, also without any C++20.

#include "itarnwell.h"

HRESULT select(IUnknown* filter, ITarnwell** tarnwell)
{
    const HRESULT result = filter->QueryInterface(IID_PPV_ARGS(tarnwell));
    return SUCCEEDED(result) ? (*tarnwell)->SelectProgram(0) : result;
}
