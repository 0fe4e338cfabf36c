/// @file
/// An object with the interfaces that the page asks a filter for. It writes down what it is asked.
#pragma once

#include <windows.h>
#include <strmif.h>

#include <string>
#include <vector>

#include "tests/windows/page/page_fixture.h"

namespace zarnow::test {

struct FakeStream
{
    WORD pid;
    const wchar_t* description;  ///< null: not describable
};

struct FakeProgram
{
    WORD pmtPid;
    WORD number;
    const wchar_t* name;  ///< null: its description fails
    std::vector<FakeStream> streams;
};

/// Outlives the page that holds it.
class FakeFilter final : public ITarnwell, public IFileSourceFilter
{
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }

    STDMETHODIMP SetBufferSize(DWORD) override { return called("SetBufferSize", E_NOTIMPL); }
    STDMETHODIMP GetBufferSize(DWORD*) override { return called("GetBufferSize", E_NOTIMPL); }
    STDMETHODIMP GetProgramCount(DWORD* count) override;
    STDMETHODIMP GetCurrentProgram(DWORD* index, WORD* number, WORD* pmtPid) override;
    STDMETHODIMP SelectProgramByNumber(WORD pmtPid, WORD number) override;
    STDMETHODIMP SelectProgram(DWORD) override { return called("SelectProgram", E_NOTIMPL); }
    STDMETHODIMP GetProgramInfo(DWORD index, WORD* pmtPid, WORD* number, BSTR* name) override;
    STDMETHODIMP GetStreamCount(WORD pmtPid, WORD number, DWORD* count) override;
    STDMETHODIMP GetStreamInfo(DWORD index, WORD pmtPid, WORD number, WORD* pid, BSTR* text) override;
    STDMETHODIMP SetDefaultStreams(WORD, WORD, WORD, WORD, WORD) override { return called("other", E_NOTIMPL); }
    STDMETHODIMP GetVideoInfo(TarnwellVideoInfo*) override { return called("GetVideoInfo", E_NOTIMPL); }

    STDMETHODIMP Load(LPCOLESTR path, const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP GetCurFile(LPOLESTR*, AM_MEDIA_TYPE*) override { return called("GetCurFile", E_NOTIMPL); }

    // How to behave
    std::vector<FakeProgram> programs;
    int current = 0;            ///< less than 0: no program of the list
    bool isSource = true;       ///< has IFileSourceFilter
    bool countFails = false;    ///< GetProgramCount
    HRESULT loadResult = S_OK;  ///< and what Load makes of the file:
    std::vector<FakeProgram> programsOfFile;

    // What came
    std::vector<std::string> calls;    ///< method names; selections with their arguments
    std::vector<std::wstring> loaded;  ///< paths
    ULONG references = 1;

private:
    HRESULT called(std::string call, HRESULT result);
    const FakeProgram* find(WORD pmtPid, WORD number) const;
};

/// As FakeFilter writes it down.
std::string selectionCall(WORD pmtPid, WORD number);

class FakePageTest : public PageTest
{
protected:
    void open() { PageTest::open(&static_cast<ITarnwell&>(filter)); }

    FakeFilter filter;
};

}  // namespace zarnow::test
