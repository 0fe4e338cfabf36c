// Connecting, agreeing on a media type, refusing, disconnecting.

#include "pair.h"

namespace zarnow::test {

namespace {

using Connection = FrameworkTest;

CMediaType streamOf(const GUID& subtype, const GUID& format = GUID_NULL)
{
    CMediaType type = mediaType(MEDIATYPE_Stream, subtype);
    type.SetFormatType(&format);
    return type;
}

void expectFree(Pair& pair)
{
    for (CBasePin* const pin : std::initializer_list<CBasePin*>{&pair.stream(), &pair.input()}) {
        IPin* peer = pin;
        CMediaType type = transportStreamType();
        EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pin->ConnectedTo(&peer));
        EXPECT_EQ(nullptr, peer);
        EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pin->ConnectionMediaType(&type));
        EXPECT_EQ(GUID_NULL, type.majortype);
    }
    EXPECT_EQ(nullptr, pair.stream().allocator());
    EXPECT_EQ(nullptr, pair.input().allocator());
    EXPECT_EQ(1u, references(pair.source.get()));
    EXPECT_EQ(1, pair.sink.references());
    EXPECT_EQ(1, pair.other.references());
}

/// A receiver that lets its peer go before it answers, and would have another one in its place.
auto leaving(Pair& pair, HRESULT answer)
{
    return [&pair, answer](const auto&) {
        EXPECT_HRESULT(S_OK, pair.stream().Disconnect());
        EXPECT_HRESULT(VFW_E_ALREADY_CONNECTED, pair.stream().Connect(&pair.other.input, nullptr));
        return answer;
    };
}

TEST_F(Connection, NothingIsLeftOfOneThatFailsOrIsGivenUp)
{
    const struct
    {
        const char* what;
        HRESULT expected;
        std::function<void(Pair&)> arrange;
    } cases[] = {
        {"given up", S_OK, [](Pair&) {}},
        {"a type refused without a reason", VFW_E_NO_ACCEPTABLE_TYPES, [](Pair& p) { p.sink.typeResult = E_FAIL; }},
        {"a type refused by S_FALSE", VFW_E_NO_ACCEPTABLE_TYPES, [](Pair& p) { p.sink.typeResult = S_FALSE; }},
        {"SetMediaType says why", VFW_E_NOT_FOUND, [](Pair& p) { p.stream().plan.typeSetting = VFW_E_NOT_FOUND; }},
        {"the receiver cannot complete", E_ABORT, [](Pair& p) { p.sink.completionResult = E_ABORT; }},
        {"no size is agreed on", VFW_E_SIZENOTSET, [](Pair& p) { p.stream().plan.bufferDecision = VFW_E_SIZENOTSET; }},
        {"of several reasons the first that says something", VFW_E_CIRCULAR_GRAPH,
         [](Pair& p) {
             p.stream().plan.types.resize(3, transportStreamType());
             p.sink.checkType = [call = 0](const CMediaType&) mutable {
                 constexpr HRESULT results[] = {E_FAIL, VFW_E_CIRCULAR_GRAPH, VFW_E_NO_DECOMPRESSOR};
                 return results[call++];
             };
         }},
        {"the receiver leaves, refusing the type", VFW_E_NO_ACCEPTABLE_TYPES,
         [](Pair& p) { p.sink.checkType = leaving(p, E_FAIL); }},
        {"accepting the type", E_POINTER, [](Pair& p) { p.sink.checkType = leaving(p, S_OK); }},
        {"refusing the allocator", VFW_E_NO_ACCEPTABLE_TYPES, [](Pair& p) { p.sink.onAllocator = leaving(p, E_FAIL); }},
        {"accepting the allocator", VFW_E_NOT_CONNECTED, [](Pair& p) { p.sink.onAllocator = leaving(p, S_OK); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Pair pair;
        c.arrange(pair);
        EXPECT_HRESULT(c.expected, pair.connect());
        if (c.expected == S_OK)
            pair.disconnect();
        expectFree(pair);
        EXPECT_HRESULT(S_FALSE, pair.stream().Disconnect());
        pair.stream().plan = {};
        EXPECT_HRESULT(S_OK, pair.stream().Connect(&pair.other.input, nullptr)) << "another peer, afterwards";
    }
}

TEST_F(Connection, WrongDirectionsAndStatesAreRefused)
{
    Pair pair({}, 2);
    const CMediaType type = transportStreamType();
    EXPECT_HRESULT(VFW_E_INVALID_DIRECTION, pair.stream().Connect(&pair.stream(1), nullptr));
    EXPECT_HRESULT(VFW_E_INVALID_DIRECTION, pair.input().ReceiveConnection(&pair.other.input, &type));
    pair.source->Pause();
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.connect());
    pair.source->Stop();
    pair.sink.Pause();
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.connect());
    pair.sink.Stop();
    expectFree(pair);

    ASSERT_HRESULT(S_OK, pair.connect());
    EXPECT_HRESULT(VFW_E_ALREADY_CONNECTED, pair.stream().Connect(&pair.other.input, nullptr));
    EXPECT_HRESULT(VFW_E_ALREADY_CONNECTED, pair.stream(1).Connect(&pair.input(), nullptr));
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
        std::vector<CMediaType> tried;  // at the receiver; the last one is taken
    } cases[] = {
        {"our first type without a word of anybody's", {}, nullptr, S_OK, {transport}},
        {"the receiver's types come before ours", {foreign, program}, nullptr, S_OK, {program}},
        {"a partial type narrows the search", {}, &program, S_OK, {program}},
        {"a partial type that nobody has", {}, &foreign, VFW_E_NO_ACCEPTABLE_TYPES, {}},
        {"a whole type that we refuse", {}, &wholeForeign, VFW_E_TYPE_NOT_ACCEPTED, {}},
        {"a whole type is the only one tried", {program}, &whole, S_OK, {whole}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Pair pair({.types = {transport, program}});
        std::vector<CMediaType> tried;
        pair.sink.proposes = c.proposed;
        pair.sink.checkType = [&](const CMediaType& type) {
            tried.push_back(type);
            return S_OK;
        };
        EXPECT_HRESULT(c.expected, pair.connect(c.wanted));
        EXPECT_TRUE(c.tried == tried);
        EXPECT_TRUE(tried.empty() || (tried[0] == pair.stream().type() && tried[0] == pair.input().type()));
    }
}

TEST_F(Connection, PinsAreFoundByTheirIdsOnly)
{
    Pair pair({}, 2);
    ComPtr<IPin> pin;
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
