/// @file
/// The system's filter graph, and a limit for what must not wait.
#pragma once

#include <control.h>

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

}  // namespace zarnow::test
