/// @file
/// The real DLL, loaded, and one filter made by its class factory.
#pragma once

#include <gtest/gtest.h>

#include <streams.h>

#include <fstream>
#include <iterator>
#include <string>

#include "filter/itarnwell.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"
#include "tests/windows/support/filter_module.h"
#include "tests/windows/support/framework_test.h"
#include "tests/windows/support/sink_filter.h"

namespace zarnow::test {

inline Data contentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Enough of a stream to be analysed and played: 42 packets.
inline Data smallStream()
{
    return join({patPacket({{1, 0x100}}), pmtPacket(0x100, 1, {{0x02, 0x200}}),
                 repeat(packet({.pid = 0x200, .unitStart = false}, filled(184, 0x11)), 40)});
}

/// Every test ends with nothing of the module left.
class FilterTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_HRESULT(S_OK, module.create(CLSID_ZarnowTSSource, IID_PPV_ARGS(&filter)));
        ASSERT_HRESULT(S_OK, filter->FindPin(L"1", &pin));
        source = query<IFileSourceFilter>(filter.Get());
        tarnwell = query<ITarnwell>(filter.Get());
        position = query<IMediaPosition>(filter.Get(), IID_IMediaPosition);
    }
    void TearDown() override
    {
        EXPECT_EQ(0U, releaseFilter());
        EXPECT_HRESULT(S_OK, module.canUnload());
    }
    /// The test's references go. @return how many are left
    ULONG releaseFilter()
    {
        position.Reset();
        tarnwell.Reset();
        source.Reset();
        pin.Reset();
        return filter.Reset();
    }

    HRESULT load(const std::wstring& path) { return source->Load(path.c_str(), nullptr); }
    /// Connects without a type, or with the transport-stream type when the sink proposes it.
    HRESULT connect(SinkFilter& sink) { return pin->Connect(&sink.input, nullptr); }
    /// Connects with the transport-stream type whatever the file is.
    HRESULT connectUnanalysed(SinkFilter& sink)
    {
        CMediaType type = transportStreamType();
        type.SetFormatType(&FORMAT_None);  // so that it is complete
        return pin->Connect(&sink.input, &type);
    }
    void disconnect(SinkFilter& sink)
    {
        EXPECT_HRESULT(S_OK, pin->Disconnect());
        EXPECT_HRESULT(S_OK, sink.input.Disconnect());
        EXPECT_EQ(1, sink.references());
    }
    /// The sink lets go of the connection; the filter does not know.
    static void loseDownstream(SinkFilter& sink)
    {
        sink.Stop();
        sink.input.Disconnect();
    }

    void run(SinkFilter& sink)
    {
        EXPECT_HRESULT(S_OK, sink.Run(0));
        EXPECT_HRESULT(S_OK, filter->Run(0));
    }
    void stop(SinkFilter& sink)
    {
        EXPECT_HRESULT(S_OK, filter->Stop());
        EXPECT_HRESULT(S_OK, sink.Stop());
    }
    /// From the first packet to the end of the stream.
    void play(SinkFilter& sink)
    {
        run(sink);
        EXPECT_TRUE(sink.waitForEnd());
        stop(sink);
    }

    std::wstring currentFile()
    {
        LPOLESTR name = nullptr;
        EXPECT_HRESULT(S_OK, source->GetCurFile(&name, nullptr));
        std::wstring result = name != nullptr ? name : L"(null)";
        CoTaskMemFree(name);
        return result;
    }
    /// Its index; a failure of the test when there is none.
    DWORD currentProgram()
    {
        DWORD index = 0xFFFF;
        WORD number = 0;
        WORD pmtPid = 0;
        EXPECT_HRESULT(S_OK, tarnwell->GetCurrentProgram(&index, &number, &pmtPid));
        return index;
    }

    Module module;
    ComPtr<IBaseFilter> filter;
    ComPtr<IPin> pin;
    ComPtr<IFileSourceFilter> source;
    ComPtr<ITarnwell> tarnwell;
    ComPtr<IMediaPosition> position;
};

}  // namespace zarnow::test
