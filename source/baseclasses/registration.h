/// @file
/// What a module registers, and how: as COM classes, and its filters with the filter mapper.
#pragma once

#include <dshow.h>

using AMOVIESETUP_MEDIATYPE = REGPINTYPES;
using AMOVIESETUP_PIN = REGFILTERPINS;

struct AMOVIESETUP_FILTER
{
    const CLSID* clsID;
    const WCHAR* strName;
    DWORD dwMerit;
    UINT nPins;
    const AMOVIESETUP_PIN* lpPin;
};
using LPAMOVIESETUP_FILTER = AMOVIESETUP_FILTER*;

/// @param pIFM2  null: a mapper is created
STDAPI AMovieSetupRegisterFilter2(const AMOVIESETUP_FILTER* psetupdata, IFilterMapper2* pIFM2, BOOL bRegister);

/// Registers, or unregisters, every class of g_Templates, and the filters among them. May be repeated.
/// @return the first failure's code
STDAPI AMovieDllRegisterServer2(BOOL bRegister);
