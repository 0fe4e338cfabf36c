/// @file
/// The system's filter graph, a limit for what must not wait, and questions to the filter.
#pragma once

#include <control.h>

#include <functional>

#include "tests/windows/support/filter_fixture.h"

namespace zarnow::test {

/// For the length of a scope.
struct AtOnce
{
    ~AtOnce() { EXPECT_GT(2000U, GetTickCount64() - begin) << "milliseconds"; }
    const ULONGLONG begin = GetTickCount64();
};

struct Graph
{
    Graph()
    {
        EXPECT_HRESULT(S_OK, CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                                              reinterpret_cast<void**>(builder.GetAddressOf())));
        control = query<IMediaControl>(builder.Get(), IID_IMediaControl);
    }
    ~Graph()
    {
        control.Reset();
        EXPECT_EQ(0U, builder.Reset());
    }

    /// Both filters become the graph's.
    void connect(IBaseFilter& source, IPin& output, IBaseFilter& receiver, IPin& input) const
    {
        ASSERT_HRESULT(S_OK, builder->AddFilter(&source, L"Source"));
        ASSERT_HRESULT(S_OK, builder->AddFilter(&receiver, L"Receiver"));
        ASSERT_HRESULT(S_OK, builder->ConnectDirect(&output, &input, nullptr));
    }

    ComPtr<IGraphBuilder> builder;
    ComPtr<IMediaControl> control;
};

class AskingTest : public FilterTest
{
protected:
    /// Everything that is handed out as memory or as an object.
    void askForAll(DWORD index, const std::function<void(HRESULT result, bool mayLack)>& see)
    {
        LPOLESTR texts[2] = {};
        BSTR names[2] = {};
        WORD pmtPid = static_cast<WORD>(0x1000 + index);
        WORD number = static_cast<WORD>(index + 1);
        TarnwellVideoInfo video = {};
        CAUUID pages = {};
        ComPtr<IEnumPins> pins;
        ComPtr<IEnumPins> morePins;
        ComPtr<IEnumMediaTypes> types;
        AM_MEDIA_TYPE* type = nullptr;
        see(tarnwell->GetStreamInfo(index, pmtPid, number, &pmtPid, &names[0]), true);
        see(tarnwell->GetVideoInfo(&video), true);
        see(tarnwell->GetProgramInfo(index, &pmtPid, &number, &names[1]), false);
        see(source->GetCurFile(&texts[0], nullptr), false);
        see(pin->QueryId(&texts[1]), false);
        see(query<ISpecifyPropertyPages>(filter.Get())->GetPages(&pages), false);
        see(filter->EnumPins(&pins), false);
        see(pins ? pins->Clone(&morePins) : E_OUTOFMEMORY, false);
        see(pin->EnumMediaTypes(&types), false);
        see(types ? types->Next(1, &type, nullptr) : E_OUTOFMEMORY, true);
        std::ranges::for_each(texts, CoTaskMemFree);
        std::ranges::for_each(names, SysFreeString);
        CoTaskMemFree(pages.pElems);
        DeleteMediaType(type);
    }
};

}  // namespace zarnow::test
