/// @file
/// Registration of a module's classes and filters.
///
/// Registering again what is registered and unregistering what is not are no errors. Another failure is returned with
/// the system's code (0x8007xxxx), such as E_ACCESSDENIED for a missing right.

#ifndef ZARNOW_BASECLASSES_REGISTRATION_H
#define ZARNOW_BASECLASSES_REGISTRATION_H

#include "platform.h"
#include "setup_data.h"

/// Registers or unregisters every class of g_Templates, and every filter of them with the filter mapper.
STDAPI AMovieDllRegisterServer2(BOOL bRegister);

/// Registers a filter with the filter mapper, in the category of DirectShow filters, in place of what was there.
HRESULT AMovieSetupRegisterFilter2(const AMOVIESETUP_FILTER* psetupdata, IFilterMapper2* pIFM2, BOOL bRegister);

/// Writes the keys of an in-process COM class.
/// @param szFileName  full path of the module
STDAPI AMovieSetupRegisterServer(CLSID clsServer, LPCWSTR szDescription, LPCWSTR szFileName,
                                 LPCWSTR szThreadingModel = L"Both", LPCWSTR szServerType = L"InprocServer32");
/// Deletes them.
STDAPI AMovieSetupUnregisterServer(CLSID clsServer);

#endif
