#include "tests/windows/page/fake_filter.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace zarnow::test {

std::string selectionCall(WORD pmtPid, WORD number)
{
    return "SelectProgramByNumber " + std::to_string(pmtPid) + " " + std::to_string(number);
}

HRESULT FakeFilter::called(std::string call, HRESULT result)
{
    calls.push_back(std::move(call));
    return result;
}

const FakeProgram* FakeFilter::find(WORD pmtPid, WORD number) const
{
    const auto found = std::find_if(programs.begin(), programs.end(), [=](const FakeProgram& program) {
        return program.pmtPid == pmtPid && program.number == number;
    });
    return found != programs.end() ? &*found : nullptr;
}

STDMETHODIMP FakeFilter::QueryInterface(REFIID riid, void** object)
{
    *object = nullptr;
    if (IsEqualIID(riid, IID_ITarnwell) || IsEqualIID(riid, IID_IUnknown))
        *object = static_cast<ITarnwell*>(this);
    else if (isSource && IsEqualIID(riid, IID_IFileSourceFilter))
        *object = static_cast<IFileSourceFilter*>(this);
    if (*object == nullptr)
        return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

STDMETHODIMP FakeFilter::GetProgramCount(DWORD* count)
{
    if (countFails)
        return called("GetProgramCount", E_FAIL);
    *count = static_cast<DWORD>(programs.size());
    return called("GetProgramCount", S_OK);
}

STDMETHODIMP FakeFilter::GetCurrentProgram(DWORD* index, WORD* number, WORD* pmtPid)
{
    *pmtPid = 0;
    *number = 0;
    if (current < 0 || current >= static_cast<int>(programs.size()))
        return called("GetCurrentProgram", S_FALSE);
    *index = static_cast<DWORD>(current);
    *pmtPid = programs[*index].pmtPid;
    *number = programs[*index].number;
    return called("GetCurrentProgram", S_OK);
}

STDMETHODIMP FakeFilter::SelectProgramByNumber(WORD pmtPid, WORD number)
{
    const FakeProgram* program = find(pmtPid, number);
    if (program != nullptr)
        current = static_cast<int>(program - programs.data());
    return called(selectionCall(pmtPid, number), program != nullptr ? S_OK : E_FAIL);
}

STDMETHODIMP FakeFilter::GetProgramInfo(DWORD index, WORD* pmtPid, WORD* number, BSTR* name)
{
    if (index >= programs.size())
        return called("GetProgramInfo", S_OK);
    const FakeProgram& program = programs[index];
    if (name != nullptr && program.name == nullptr)
        return called("GetProgramInfo", E_OUTOFMEMORY);
    *pmtPid = program.pmtPid;
    *number = program.number;
    if (name != nullptr)
        *name = SysAllocString(program.name);
    return called("GetProgramInfo", S_OK);
}

STDMETHODIMP FakeFilter::GetStreamCount(WORD pmtPid, WORD number, DWORD* count)
{
    const FakeProgram* program = find(pmtPid, number);
    *count = program != nullptr ? static_cast<DWORD>(program->streams.size()) : 0;
    return called("GetStreamCount", S_OK);
}

STDMETHODIMP FakeFilter::GetStreamInfo(DWORD index, WORD pmtPid, WORD number, WORD* pid, BSTR* text)
{
    *text = nullptr;
    const FakeProgram* program = find(pmtPid, number);
    if (program == nullptr || index >= program->streams.size()) {
        ADD_FAILURE() << "asked for stream " << index << ", which the count excludes";
        return called("GetStreamInfo", E_FAIL);
    }
    *pid = program->streams[index].pid;
    if (program->streams[index].description == nullptr)
        return called("GetStreamInfo", S_FALSE);
    *text = SysAllocString(program->streams[index].description);
    return called("GetStreamInfo", S_OK);
}

STDMETHODIMP FakeFilter::Load(LPCOLESTR path, const AM_MEDIA_TYPE* type)
{
    EXPECT_EQ(nullptr, type);
    loaded.emplace_back(path);
    programs = programsOfFile;
    current = programs.empty() ? -1 : 0;
    return called("Load", loadResult);
}

}  // namespace zarnow::test
