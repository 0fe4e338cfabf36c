#include "tests/windows/support/filter_fixture.h"

#include "tests/windows/support/framework_test.h"

#include <fstream>
#include <iterator>

namespace zarnow::test {

Data contentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

Data smallStream()
{
    return join({patPacket({{1, 0x100}}), pmtPacket(0x100, 1, {{0x02, 0x200}}),
                 repeat(packet({.pid = 0x200, .unitStart = false}, filled(184, 0x11)), 40)});
}

void FilterTest::SetUp()
{
    ASSERT_HRESULT(S_OK, module.create(CLSID_ZarnowTSSource, IID_PPV_ARGS(&filter)));
    ASSERT_HRESULT(S_OK, filter->FindPin(L"1", &pin));
    source = query<IFileSourceFilter>(filter.Get());
    tarnwell = query<ITarnwell>(filter.Get());
    position = query<IMediaPosition>(filter.Get(), IID_IMediaPosition);
}

void FilterTest::TearDown()
{
    EXPECT_EQ(0U, releaseFilter());
    EXPECT_HRESULT(S_OK, module.canUnload());
}

ULONG FilterTest::releaseFilter()
{
    position.Reset();
    tarnwell.Reset();
    source.Reset();
    pin.Reset();
    return filter.Reset();
}

HRESULT FilterTest::connectUnanalysed(SinkFilter& sink)
{
    CMediaType type = transportStreamType();
    type.SetFormatType(&FORMAT_None);  // so that it is complete
    return pin->Connect(&sink.input, &type);
}

void FilterTest::disconnect(SinkFilter& sink)
{
    EXPECT_HRESULT(S_OK, pin->Disconnect());
    EXPECT_HRESULT(S_OK, sink.input.Disconnect());
    EXPECT_EQ(1, sink.references());
}

void FilterTest::run(SinkFilter& sink)
{
    EXPECT_HRESULT(S_OK, sink.Run(0));
    EXPECT_HRESULT(S_OK, filter->Run(0));
}

void FilterTest::stop(SinkFilter& sink)
{
    EXPECT_HRESULT(S_OK, filter->Stop());
    EXPECT_HRESULT(S_OK, sink.Stop());
}

void FilterTest::play(SinkFilter& sink)
{
    run(sink);
    EXPECT_TRUE(sink.waitForEnd());
    stop(sink);
}

std::wstring FilterTest::currentFile()
{
    LPOLESTR name = nullptr;
    EXPECT_HRESULT(S_OK, source->GetCurFile(&name, nullptr));
    std::wstring result = name != nullptr ? name : L"(null)";
    CoTaskMemFree(name);
    return result;
}

DWORD FilterTest::currentProgram()
{
    DWORD index = 0xFFFF;
    WORD number = 0;
    WORD pmtPid = 0;
    EXPECT_HRESULT(S_OK, tarnwell->GetCurrentProgram(&index, &number, &pmtPid));
    return index;
}

}  // namespace zarnow::test
