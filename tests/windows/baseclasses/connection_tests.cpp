// Connecting, agreeing on a media type, refusing, disconnecting.

#include "pair.h"

namespace zarnow::test {

namespace {

using Connection = FrameworkTest;

CMediaType streamOf(const GUID& subtype, const GUID& format)
{
    CMediaType type = mediaType(MEDIATYPE_Stream, subtype);
    type.SetFormatType(&format);
    return type;
}

void expectFree(CBasePin& pin, IMemAllocator* allocator)
{
    IPin* peer = &pin;
    CMediaType type = transportStreamType();
    EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pin.ConnectedTo(&peer));
    EXPECT_EQ(nullptr, peer);
    EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pin.ConnectionMediaType(&type));
    EXPECT_EQ(GUID_NULL, type.majortype);
    EXPECT_EQ(nullptr, allocator);
    EXPECT_HRESULT(S_FALSE, pin.Disconnect());
}

TEST_F(Connection, NothingIsLeftOfOneThatTheReceiverGivesUpBeforeItAnswers)
{
    for (const bool askedForTheType : {false, true}) {  // or for the allocator
        for (const HRESULT answer : {E_FAIL, S_OK}) {
            SCOPED_TRACE(hex(answer));
            Pair pair;
            const auto leave = [&](const auto&) {
                EXPECT_HRESULT(S_OK, pair.stream().Disconnect());
                EXPECT_HRESULT(VFW_E_ALREADY_CONNECTED, pair.stream().Connect(&pair.other.input, nullptr));
                return answer;
            };
            if (askedForTheType)
                pair.sink.checkType = leave;
            else
                pair.sink.onAllocator = leave;
            const HRESULT connected = askedForTheType ? E_POINTER : VFW_E_NOT_CONNECTED;
            EXPECT_HRESULT(FAILED(answer) ? VFW_E_NO_ACCEPTABLE_TYPES : connected, pair.connect());
            expectFree(pair.stream(), pair.stream().allocator());
            expectFree(pair.input(), pair.input().allocator());
            EXPECT_HRESULT(S_OK, pair.stream().Connect(&pair.other.input, nullptr)) << "another peer, afterwards";
        }
    }
}

TEST_F(Connection, WrongDirectionsAndStatesAndFailuresOfEitherPin)
{
    Pair pair({}, 2);
    const CMediaType type = transportStreamType();
    EXPECT_HRESULT(VFW_E_INVALID_DIRECTION, pair.stream().Connect(&pair.stream(1), nullptr));
    EXPECT_HRESULT(VFW_E_INVALID_DIRECTION, pair.input().ReceiveConnection(&pair.other.input, &type));
    for (IBaseFilter* const active : {pair.source.get(), static_cast<IBaseFilter*>(&pair.sink)}) {
        active->Pause();
        EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.connect());
        active->Stop();
    }
    for (HRESULT* const setting : {&pair.stream().plan.typeSetting, &pair.sink.connectionResult}) {
        *setting = E_ABORT;
        EXPECT_HRESULT(E_ABORT, pair.connect());
        *setting = S_OK;
    }
    ASSERT_HRESULT(S_OK, pair.connect());
    EXPECT_HRESULT(VFW_E_ALREADY_CONNECTED, pair.stream().Connect(&pair.other.input, nullptr));
    EXPECT_HRESULT(VFW_E_ALREADY_CONNECTED, pair.stream(1).Connect(&pair.input(), nullptr));
    ASSERT_HRESULT(S_OK, pair.pause());
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.stream().Disconnect());
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.input().Disconnect());
}

TEST_F(Connection, TheTypeIsFound)
{
    const CMediaType transport = streamOf(MEDIASUBTYPE_MPEG2_TRANSPORT, FORMAT_None);
    const CMediaType program = streamOf(MEDIASUBTYPE_MPEG2_PROGRAM, FORMAT_None);
    const CMediaType partial = streamOf(MEDIASUBTYPE_MPEG2_PROGRAM, GUID_NULL);
    const CMediaType whole = streamOf(MEDIASUBTYPE_MPEG2_TRANSPORT, FORMAT_VideoInfo);
    const struct
    {
        const char* fault;
        std::vector<CMediaType> proposed;
        const CMediaType* wanted;
        HRESULT expected;
        std::vector<CMediaType> tried;  // at the receiver; the last one is taken
        std::vector<HRESULT> answers = {S_OK};
    } cases[] = {
        {"a partial type does not narrow the search", {}, &partial, S_OK, {program}},
        {"a whole type is not the only one tried", {program}, &whole, S_OK, {whole}},
        {"our types come first, or another reason is told than the first that says something",
         {program},
         nullptr,
         VFW_E_CIRCULAR_GRAPH,
         {program, transport, program},
         {E_FAIL, VFW_E_CIRCULAR_GRAPH, VFW_E_NO_DECOMPRESSOR}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        Pair pair({.types = {transport, program}});
        std::vector<CMediaType> tried;
        pair.sink.proposes = c.proposed;
        pair.sink.checkType = [&](const CMediaType& type) {
            tried.push_back(type);
            return c.answers.at(tried.size() - 1);
        };
        EXPECT_HRESULT(c.expected, pair.connect(c.wanted));
        EXPECT_TRUE(c.tried == tried);
        EXPECT_TRUE(FAILED(c.expected) || (tried[0] == pair.stream().type() && tried[0] == pair.input().type()));
    }
}

TEST_F(Connection, PinsAreFoundByTheirIdsOnly)
{
    Pair pair({}, 2);
    ComPtr<IPin> pin;
    EXPECT_HRESULT(S_OK, pair.source->FindPin(L"2", pin.put()));
    EXPECT_EQ(static_cast<IPin*>(&pair.stream(1)), pin.get());
    for (const wchar_t* wrong : {L"0", L"3", L"", L"1x", L"-1", L"4294967297", L"99999999999999999999"}) {
        IPin* none = pin.get();
        EXPECT_HRESULT(VFW_E_NOT_FOUND, pair.source->FindPin(wrong, &none)) << wrong;
        EXPECT_EQ(nullptr, none) << wrong;
    }
    EXPECT_HRESULT(S_OK, pair.sink.FindPin(L"In", pin.put())) << "by name, where ids are not numbers";
}

}  // namespace

}  // namespace zarnow::test
