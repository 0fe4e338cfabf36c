// What the class factory and the registration are built from, and the module's entry points of its own.

#include <streams.h>

#include <array>

#include "filter/mpeg_ts_source.h"
#include "ui/properties_page.h"

namespace {

// So low that no graph takes the filter by itself: it is for applications that ask for it.
constexpr DWORD kMerit = 0x00200000;

constexpr const wchar_t* kFilterName = L"Zarnow Transport Stream Source";

const AMOVIESETUP_MEDIATYPE kOutputTypes = {&MEDIATYPE_Stream, &MEDIASUBTYPE_MPEG2_TRANSPORT};

// The setup records' strings are LPWSTR by declaration; nobody writes to them.
const AMOVIESETUP_PIN kOutputPin = {const_cast<LPWSTR>(L"Output"),
                                    FALSE,  // bRendered
                                    TRUE,   // bOutput
                                    FALSE,  // bZero
                                    FALSE,  // bMany
                                    &CLSID_NULL,
                                    nullptr,
                                    1,
                                    &kOutputTypes};

const AMOVIESETUP_FILTER kFilterSetup = {&CLSID_ZarnowTSSource, kFilterName, kMerit, 1, &kOutputPin};

}  // namespace

CFactoryTemplate g_Templates[] = {
    {kFilterName, &CLSID_ZarnowTSSource, zarnow::CMPEGTSSource::CreateInstance, nullptr, &kFilterSetup},
    {L"TS Properties", &CLSID_ZarnowTSProperties, zarnow::CMPEGTSSourceProperties::CreateInstance, nullptr, nullptr},
};
int g_cTemplates = static_cast<int>(std::size(g_Templates));

STDAPI DllRegisterServer()
{
    return AMovieDllRegisterServer2(TRUE);
}

STDAPI DllUnregisterServer()
{
    return AMovieDllRegisterServer2(FALSE);
}
