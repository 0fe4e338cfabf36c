// Lists the programs and streams of a transport-stream file: list_programs FILE
// The filter must be registered (regsvr32 ZarnowTSSource.ax).

#include <windows.h>
#include <strmif.h>
#include <wrl/client.h>

#include <cstdio>

#include "itarnwell.h"

using Microsoft::WRL::ComPtr;

/// Streams can be described only while their program is the selected one.
void listStreams(ITarnwell& tarnwell, WORD pmtPid, WORD programNumber)
{
    DWORD count = 0;
    tarnwell.GetStreamCount(pmtPid, programNumber, &count);
    for (DWORD index = 0; index < count; ++index) {
        WORD pid = 0;
        BSTR description = nullptr;
        const HRESULT result = tarnwell.GetStreamInfo(index, pmtPid, programNumber, &pid, &description);
        std::printf("    PID 0x%04X: %ls\n", static_cast<unsigned>(pid),
                    result == S_OK ? description : L"not described");
        SysFreeString(description);
    }
}

void listPrograms(ITarnwell& tarnwell)
{
    DWORD count = 0;
    tarnwell.GetProgramCount(&count);
    for (DWORD index = 0; index < count; ++index) {
        WORD pmtPid = 0;
        WORD number = 0;
        BSTR name = nullptr;
        if (FAILED(tarnwell.GetProgramInfo(index, &pmtPid, &number, &name)))
            continue;
        std::printf("%ls (PMT PID 0x%04X)\n", name, static_cast<unsigned>(pmtPid));
        SysFreeString(name);
        if (SUCCEEDED(tarnwell.SelectProgram(index)))
            listStreams(tarnwell, pmtPid, number);
    }
}

HRESULT list(const wchar_t* path)
{
    ComPtr<IBaseFilter> filter;
    ComPtr<IFileSourceFilter> source;
    ComPtr<ITarnwell> tarnwell;
    HRESULT result = CoCreateInstance(CLSID_ZarnowTSSource, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&filter));
    if (SUCCEEDED(result))
        result = filter->QueryInterface(IID_PPV_ARGS(&source));
    if (SUCCEEDED(result))
        result = filter->QueryInterface(IID_PPV_ARGS(&tarnwell));
    if (SUCCEEDED(result))
        result = source->Load(path, nullptr);
    if (SUCCEEDED(result))
        listPrograms(*tarnwell.Get());
    return result;
}

int wmain(int argc, wchar_t** argv)
{
    if (argc != 2) {
        std::fputs("usage: list_programs FILE\n", stderr);
        return 2;
    }
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    const HRESULT result = list(argv[1]);
    if (FAILED(result))
        std::fprintf(stderr, "%ls: 0x%08lX\n", argv[1], static_cast<unsigned long>(result));
    CoUninitialize();
    return FAILED(result) ? 1 : 0;
}
