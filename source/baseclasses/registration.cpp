// One filter and the filter mapper. Apart from the module's own registration, so that programs without classes of their
// own can link filters.

#include "streams.h"

namespace {

bool isMissing(HRESULT result)
{
    return result == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) || result == HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
}

HRESULT registerWith(IFilterMapper2& mapper, const AMOVIESETUP_FILTER& setup)
{
    REGFILTER2 filter = {};
    filter.dwVersion = 1;
    filter.dwMerit = setup.dwMerit;
    filter.cPins = setup.nPins;
    filter.rgPins = setup.lpPin;
    return mapper.RegisterFilter(*setup.clsID, setup.strName, nullptr, nullptr, nullptr, &filter);
}

}  // namespace

STDAPI AMovieSetupRegisterFilter2(const AMOVIESETUP_FILTER* psetupdata, IFilterMapper2* pIFM2, BOOL bRegister)
{
    CheckPointer(psetupdata, E_POINTER);
    IFilterMapper2* mapper = pIFM2;
    if (mapper != nullptr) {
        mapper->AddRef();
    } else {
        const HRESULT created = CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                                                 reinterpret_cast<void**>(&mapper));
        if (FAILED(created))
            return created;
    }
    // What an earlier version left goes in either case.
    HRESULT result = mapper->UnregisterFilter(nullptr, nullptr, *psetupdata->clsID);
    if (bRegister)
        result = registerWith(*mapper, *psetupdata);
    else if (isMissing(result))
        result = S_OK;
    mapper->Release();
    return result;
}
