// Connecting, agreeing on a media type, refusing, disconnecting.

#include "pair.h"

namespace zarnow::test {

namespace {

class Connection : public FrameworkTest
{
protected:
    static void expectFree(Pair& pair)
    {
        EXPECT_FALSE(pair.stream().IsConnected() || pair.input().IsConnected());
        EXPECT_EQ(nullptr, pair.stream().allocator());
        EXPECT_EQ(nullptr, pair.input().allocator());
        EXPECT_EQ(1u, references(pair.source.get()));
        EXPECT_EQ(1, pair.sink.references());
    }
};

CMediaType streamOf(const GUID& subtype, const GUID& format = GUID_NULL)
{
    CMediaType type = mediaType(MEDIATYPE_Stream, subtype);
    type.SetFormatType(&format);
    return type;
}

TEST_F(Connection, RecordsBothEndsUntilItIsGivenUp)
{
    Pair pair;
    CMediaType type;
    for (int round = 0; round < 2; ++round) {  // repeatable
        ASSERT_HRESULT(S_OK, pair.connect());
        ComPtr<IPin> peer;
        EXPECT_HRESULT(S_OK, pair.stream().ConnectedTo(peer.put()));
        EXPECT_EQ(static_cast<IPin*>(&pair.input()), peer.get());
        EXPECT_HRESULT(S_OK, pair.input().ConnectedTo(peer.put()));
        EXPECT_EQ(static_cast<IPin*>(&pair.stream()), peer.get());
        peer.reset();
        EXPECT_HRESULT(S_OK, pair.input().ConnectionMediaType(&type));
        EXPECT_TRUE(type == transportStreamType());
        EXPECT_LT(1, pair.sink.references()) << "a connection holds the peer";

        EXPECT_HRESULT(S_OK, pair.stream().Disconnect());
        EXPECT_HRESULT(S_OK, pair.input().Disconnect());
        EXPECT_HRESULT(S_FALSE, pair.stream().Disconnect());
        expectFree(pair);
        auto* none = static_cast<IPin*>(&pair.stream());
        EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pair.stream().ConnectedTo(&none));
        EXPECT_EQ(nullptr, none);
        EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pair.stream().ConnectionMediaType(&type));
    }
}

TEST_F(Connection, WrongDirectionsAndStatesAreRefused)
{
    Pair pair;
    Pair other;
    const CMediaType type = transportStreamType();
    EXPECT_HRESULT(VFW_E_INVALID_DIRECTION, pair.stream().Connect(&other.stream(), nullptr));
    EXPECT_HRESULT(VFW_E_INVALID_DIRECTION, pair.input().ReceiveConnection(&other.input(), &type));
    pair.source->Pause();
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.connect());
    pair.source->Stop();
    pair.sink.Pause();
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.connect());
    pair.sink.Stop();
    expectFree(pair);
    expectFree(other);

    ASSERT_HRESULT(S_OK, pair.connect());
    EXPECT_HRESULT(VFW_E_ALREADY_CONNECTED, pair.stream().Connect(&other.input(), nullptr));
    EXPECT_HRESULT(VFW_E_ALREADY_CONNECTED, other.stream().Connect(&pair.input(), nullptr));
    ASSERT_HRESULT(S_OK, pair.pause());
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.stream().Disconnect());
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.input().Disconnect());
}

TEST_F(Connection, TheTypeIsFound)
{
    const CMediaType transport = streamOf(MEDIASUBTYPE_MPEG2_TRANSPORT);
    const CMediaType program = streamOf(MEDIASUBTYPE_MPEG2_PROGRAM);
    const CMediaType foreign = streamOf(MEDIASUBTYPE_MPEG1System);
    const CMediaType whole = streamOf(MEDIASUBTYPE_MPEG2_TRANSPORT, FORMAT_None);
    const CMediaType wholeForeign = streamOf(MEDIASUBTYPE_MPEG1System, FORMAT_None);
    const struct
    {
        const char* what;
        std::vector<CMediaType> proposed;
        const CMediaType* wanted;
        HRESULT expected;
        const CMediaType* found;
        std::size_t tried;
    } cases[] = {
        {"our first type without a word of anybody's", {}, nullptr, S_OK, &transport, 1},
        {"the receiver's types come before ours", {foreign, program}, nullptr, S_OK, &program, 1},
        {"a partial type narrows the search", {}, &program, S_OK, &program, 1},
        {"a partial type that nobody has", {}, &foreign, VFW_E_NO_ACCEPTABLE_TYPES, nullptr, 0},
        {"a whole type that we refuse", {}, &wholeForeign, VFW_E_TYPE_NOT_ACCEPTED, nullptr, 0},
        {"a whole type is the only one tried", {program}, &whole, S_OK, &whole, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Pair pair({.types = {transport, program}});
        std::size_t tried = 0;
        pair.sink.proposes = c.proposed;
        pair.sink.checkType = [&](const CMediaType&) {
            ++tried;
            return S_OK;
        };
        EXPECT_HRESULT(c.expected, pair.connect(c.wanted));
        EXPECT_EQ(c.tried, tried);
        if (c.found != nullptr) {
            EXPECT_TRUE(*c.found == pair.stream().type());
            EXPECT_TRUE(*c.found == pair.input().type());
        }
    }
}

TEST_F(Connection, ARefusalLeavesBothPinsFree)
{
    const struct
    {
        const char* fault;
        HRESULT expected;
        std::function<void(Pair&)> arrange;
    } cases[] = {
        {"a type refused without a reason", VFW_E_NO_ACCEPTABLE_TYPES, [](Pair& p) { p.sink.typeResult = E_FAIL; }},
        {"a type refused by S_FALSE", VFW_E_NO_ACCEPTABLE_TYPES, [](Pair& p) { p.sink.typeResult = S_FALSE; }},
        {"a type refused with a reason", VFW_E_NO_DECOMPRESSOR,
         [](Pair& p) { p.sink.typeResult = VFW_E_NO_DECOMPRESSOR; }},
        {"SetMediaType says why", VFW_E_NOT_FOUND, [](Pair& p) { p.stream().plan.typeSetting = VFW_E_NOT_FOUND; }},
        {"the receiver cannot complete", E_ABORT, [](Pair& p) { p.sink.completionResult = E_ABORT; }},
        {"no size is agreed on", VFW_E_SIZENOTSET, [](Pair& p) { p.stream().plan.bufferDecision = VFW_E_SIZENOTSET; }},
        {"of several the first that says something", VFW_E_CIRCULAR_GRAPH,
         [](Pair& p) {
             p.stream().plan.types.resize(3, transportStreamType());
             p.sink.checkType = [call = 0](const CMediaType&) mutable {
                 constexpr HRESULT results[] = {E_FAIL, VFW_E_CIRCULAR_GRAPH, VFW_E_NO_DECOMPRESSOR};
                 return results[call++];
             };
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        Pair pair;
        c.arrange(pair);
        EXPECT_HRESULT(c.expected, pair.connect());
        expectFree(pair);
    }
}

TEST_F(Connection, AReceiverMayDisconnectItsPeerBeforeItAnswers)
{
    for (const HRESULT answer : {E_FAIL, S_OK}) {
        SCOPED_TRACE(answer);
        Pair pair;
        const auto disconnect = [&](const auto&) {
            EXPECT_HRESULT(S_OK, pair.stream().Disconnect());
            return answer;
        };
        pair.sink.checkType = disconnect;
        EXPECT_TRUE(FAILED(pair.connect()));
        expectFree(pair);
        pair.sink.checkType = nullptr;
        pair.sink.onAllocator = disconnect;
        EXPECT_TRUE(FAILED(pair.connect()));
        expectFree(pair);
    }
}

TEST_F(Connection, AReceiverMayNotPutAnotherPeerInItsPlaceBeforeItAnswers)
{
    for (const HRESULT answer : {E_FAIL, S_OK}) {
        SCOPED_TRACE(answer);
        Pair pair;
        SinkFilter other;
        pair.sink.checkType = [&](const CMediaType&) {
            EXPECT_HRESULT(S_OK, pair.stream().Disconnect());
            EXPECT_HRESULT(VFW_E_ALREADY_CONNECTED, pair.stream().Connect(&other.input, nullptr));
            return answer;
        };
        EXPECT_TRUE(FAILED(pair.connect()));
        expectFree(pair);
        EXPECT_EQ(1, other.references());
        EXPECT_HRESULT(S_OK, pair.stream().Connect(&other.input, nullptr)) << "but afterwards";
        pair.stream().Disconnect();
        other.input.Disconnect();
    }
}

TEST_F(Connection, PinsAreFoundByTheirIdsOnly)
{
    Pair pair({}, 2);
    LPWSTR id = nullptr;
    ComPtr<IPin> pin;
    ASSERT_HRESULT(S_OK, pair.stream(1).QueryId(&id));
    EXPECT_STREQ(L"2", id);
    CoTaskMemFree(id);
    EXPECT_HRESULT(S_OK, pair.source->FindPin(L"2", pin.put()));
    EXPECT_EQ(static_cast<IPin*>(&pair.stream(1)), pin.get());
    for (const wchar_t* wrong :
         {L"0", L"3", L"", L"Out", L"1x", L" 1", L"-1", L"4294967297", L"99999999999999999999"}) {
        IPin* none = pin.get();
        EXPECT_HRESULT(VFW_E_NOT_FOUND, pair.source->FindPin(wrong, &none)) << wrong;
        EXPECT_EQ(nullptr, none) << wrong;
    }
    EXPECT_HRESULT(S_OK, pair.sink.FindPin(L"In", pin.put())) << "by name, where ids are not numbers";
}

}  // namespace

}  // namespace zarnow::test
