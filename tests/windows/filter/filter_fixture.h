/// @file
/// The real DLL, loaded, and one filter made by its class factory.
#pragma once

#include <gtest/gtest.h>

#include <streams.h>
#include <wrl/client.h>

#include <filesystem>
#include <string>

#include "filter/itarnwell.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"
#include "tests/windows/support/hresult.h"
#include "tests/windows/support/sink_filter.h"

namespace zarnow::test {

using Microsoft::WRL::ComPtr;

inline constexpr const wchar_t* kMpeg2Sample = L"tests/data/mpeg2.ts";
inline constexpr const wchar_t* kTwoProgramsSample = L"tests/data/two-programs.ts";

/// The filter's module, from the directory of the test program.
class Module
{
public:
    Module();
    ~Module();

    HRESULT classObject(REFCLSID clsid, REFIID iid, void** object) const;
    HRESULT canUnload() const;
    HRESULT call(const char* entryPoint) const;

private:
    FARPROC entry(const char* name) const;

    HMODULE module_;
};

template <class Interface>
ComPtr<Interface> query(IUnknown* object, REFIID iid)
{
    ComPtr<Interface> result;
    EXPECT_HRESULT(S_OK, object->QueryInterface(iid, reinterpret_cast<void**>(result.GetAddressOf())));
    return result;
}

std::vector<BYTE> contentOf(const std::filesystem::path& path);

/// Every test ends with nothing of the module left.
class FilterTest : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    HRESULT load(const std::wstring& path);
    /// Connects without a type, or with the transport-stream type when the sink proposes it.
    HRESULT connect(SinkFilter& sink);
    void disconnect(SinkFilter& sink);
    /// From the first packet to the end of the stream.
    void play(SinkFilter& sink);
    std::wstring currentFile();

    Module module;
    ComPtr<IBaseFilter> filter;
    ComPtr<IPin> pin;
    ComPtr<IFileSourceFilter> source;
    ComPtr<ITarnwell> tarnwell;
    ComPtr<IMediaPosition> position;
};

}  // namespace zarnow::test
