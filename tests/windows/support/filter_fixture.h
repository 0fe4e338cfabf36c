/// @file
/// The real DLL, loaded, and one filter made by its class factory.
#pragma once

#include <gtest/gtest.h>

#include <streams.h>

#include <filesystem>
#include <string>

#include "filter/itarnwell.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"
#include "tests/windows/support/filter_module.h"
#include "tests/windows/support/sink_filter.h"

namespace zarnow::test {

Data contentOf(const std::filesystem::path& path);

/// Enough of a stream to be analysed and played: 42 packets.
Data smallStream();

/// Every test ends with nothing of the module left.
class FilterTest : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    /// The test's references go. @return how many are left
    ULONG releaseFilter();

    HRESULT load(const std::wstring& path) { return source->Load(path.c_str(), nullptr); }
    /// Connects without a type, or with the transport-stream type when the sink proposes it.
    HRESULT connect(SinkFilter& sink) { return pin->Connect(&sink.input, nullptr); }
    /// Connects with the transport-stream type whatever the file is.
    HRESULT connectUnanalysed(SinkFilter& sink);
    void disconnect(SinkFilter& sink);
    /// The sink lets go of the connection; the filter does not know.
    static void loseDownstream(SinkFilter& sink)
    {
        sink.Stop();
        sink.input.Disconnect();
    }

    void run(SinkFilter& sink);
    void stop(SinkFilter& sink);
    /// From the first packet to the end of the stream.
    void play(SinkFilter& sink);

    std::wstring currentFile();
    /// Its index; a failure of the test when there is none.
    DWORD currentProgram();

    Module module;
    ComPtr<IBaseFilter> filter;
    ComPtr<IPin> pin;
    ComPtr<IFileSourceFilter> source;
    ComPtr<ITarnwell> tarnwell;
    ComPtr<IMediaPosition> position;
};

}  // namespace zarnow::test
