// Connecting, agreeing on a media type, refusing, disconnecting.

#include "pair.h"

namespace zarnow::test {

namespace {

class Connection : public FrameworkTest
{
};

CMediaType streamOf(const GUID& subtype, const GUID& format = GUID_NULL)
{
    CMediaType type = mediaType(MEDIATYPE_Stream, subtype);
    type.SetFormatType(&format);
    return type;
}

const StreamPlan kTwoTypes{.types = {streamOf(MEDIASUBTYPE_MPEG2_TRANSPORT), streamOf(MEDIASUBTYPE_MPEG2_PROGRAM)}};

TEST_F(Connection, RecordsBothEndsUntilItIsGivenUp)
{
    Pair pair;
    ASSERT_HRESULT(S_OK, pair.connect());
    ComPtr<IPin> peer;
    EXPECT_HRESULT(S_OK, pair.stream().ConnectedTo(peer.put()));
    EXPECT_EQ(static_cast<IPin*>(&pair.input()), peer.get());
    EXPECT_HRESULT(S_OK, pair.input().ConnectedTo(peer.put()));
    EXPECT_EQ(static_cast<IPin*>(&pair.stream()), peer.get());
    peer.reset();
    EXPECT_TRUE(pair.stream().peerKnownAtSetMediaType);
    CMediaType type;
    EXPECT_HRESULT(S_OK, pair.input().ConnectionMediaType(&type));
    EXPECT_TRUE(type == transportStreamType());
    EXPECT_NE(nullptr, pair.stream().allocator());
    EXPECT_LT(1, pair.sink.references()) << "a connection holds the peer";

    EXPECT_HRESULT(S_OK, pair.stream().Disconnect());
    EXPECT_HRESULT(S_OK, pair.input().Disconnect());
    EXPECT_HRESULT(S_FALSE, pair.stream().Disconnect());
    EXPECT_EQ(1u, references(pair.source.get()));
    EXPECT_EQ(1, pair.sink.references());
    EXPECT_EQ(nullptr, pair.stream().allocator());
    EXPECT_EQ(nullptr, pair.input().allocator());
    auto* none = static_cast<IPin*>(&pair.stream());
    EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pair.stream().ConnectedTo(&none));
    EXPECT_EQ(nullptr, none);
    EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pair.stream().ConnectionMediaType(&type));
    EXPECT_HRESULT(S_OK, pair.connect()) << "and it can be made again";
}

TEST_F(Connection, WrongArgumentsAndStatesAreRefused)
{
    Pair pair;
    Pair other;
    const CMediaType type = transportStreamType();
    EXPECT_HRESULT(E_POINTER, pair.stream().Connect(nullptr, nullptr));
    EXPECT_HRESULT(E_POINTER, pair.input().ReceiveConnection(nullptr, &type));
    EXPECT_HRESULT(E_POINTER, pair.input().ReceiveConnection(&pair.stream(), nullptr));
    EXPECT_HRESULT(E_POINTER, pair.stream().ConnectedTo(nullptr));
    EXPECT_HRESULT(E_POINTER, pair.stream().QueryAccept(nullptr));
    EXPECT_HRESULT(E_POINTER, pair.stream().QueryPinInfo(nullptr));
    EXPECT_HRESULT(E_POINTER, pair.stream().QueryId(nullptr));
    EXPECT_HRESULT(VFW_E_INVALID_DIRECTION, pair.stream().Connect(&other.stream(), nullptr));
    EXPECT_HRESULT(VFW_E_INVALID_DIRECTION, pair.input().ReceiveConnection(&other.input(), &type));
    pair.source->Pause();
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.connect());
    pair.source->Stop();
    pair.sink.Pause();
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.connect());
    EXPECT_FALSE(pair.stream().IsConnected());
    pair.sink.Stop();
    EXPECT_EQ(1u, references(pair.source.get()));
    EXPECT_EQ(1u, references(other.source.get()));

    ASSERT_HRESULT(S_OK, pair.connect());
    EXPECT_HRESULT(VFW_E_ALREADY_CONNECTED, pair.stream().Connect(&other.input(), nullptr));
    EXPECT_HRESULT(VFW_E_ALREADY_CONNECTED, other.stream().Connect(&pair.input(), nullptr));
    EXPECT_HRESULT(VFW_E_ALREADY_CONNECTED, pair.input().ReceiveConnection(&other.stream(), &type));
    ASSERT_HRESULT(S_OK, pair.pause());
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.stream().Disconnect());
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.input().Disconnect());
}

TEST_F(Connection, TheTypeIsFound)
{
    struct Case
    {
        const char* what;
        std::vector<CMediaType> proposed;
        std::optional<CMediaType> wanted;
        HRESULT expected;
        GUID subtype;
        std::size_t tried;
    };
    const Case cases[] = {
        {"our first type without a word of anybody's", {}, {}, S_OK, MEDIASUBTYPE_MPEG2_TRANSPORT, 1},
        {"the receiver's types come before ours",
         {streamOf(MEDIASUBTYPE_MPEG1System), streamOf(MEDIASUBTYPE_MPEG2_PROGRAM)},
         {},
         S_OK,
         MEDIASUBTYPE_MPEG2_PROGRAM,
         1},
        {"a partial type narrows the search: others are not tried",
         {},
         streamOf(MEDIASUBTYPE_MPEG2_PROGRAM),
         S_OK,
         MEDIASUBTYPE_MPEG2_PROGRAM,
         1},
        {"a partial type that nobody has", {}, streamOf(MEDIASUBTYPE_MPEG1Audio), VFW_E_NO_ACCEPTABLE_TYPES, {}, 0},
        {"a whole type that we refuse does not reach the receiver",
         {},
         streamOf(MEDIASUBTYPE_MPEG1Audio, FORMAT_WaveFormatEx),
         VFW_E_TYPE_NOT_ACCEPTED,
         {},
         0},
        {"a whole type is the only one tried",
         {streamOf(MEDIASUBTYPE_MPEG2_PROGRAM)},
         streamOf(MEDIASUBTYPE_MPEG2_TRANSPORT, FORMAT_None),
         S_OK,
         MEDIASUBTYPE_MPEG2_TRANSPORT,
         1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Pair pair(kTwoTypes);
        std::size_t tried = 0;
        pair.sink.proposes = c.proposed;
        pair.sink.checkType = [&](const CMediaType&) {
            ++tried;
            return S_OK;
        };
        EXPECT_HRESULT(c.expected, pair.connect(c.wanted ? &*c.wanted : nullptr));
        EXPECT_EQ(c.tried, tried);
        if (c.expected == S_OK) {
            EXPECT_EQ(c.subtype, pair.stream().type().subtype);
            EXPECT_TRUE(pair.stream().type() == pair.input().type());
        }
    }
    Pair pair(kTwoTypes);
    for (const CMediaType& type : {streamOf(MEDIASUBTYPE_MPEG2_PROGRAM), streamOf(MEDIASUBTYPE_MPEG1Audio)})
        EXPECT_HRESULT(pair.stream().CheckMediaType(&type) == S_OK ? S_OK : S_FALSE, pair.stream().QueryAccept(&type));
}

struct Refusal
{
    const char* fault;
    std::function<void(Pair&)> arrange;
    HRESULT expected;
};

const Refusal kRefusals[] = {
    {"a type refused without a reason", [](Pair& p) { p.sink.typeResult = E_FAIL; }, VFW_E_NO_ACCEPTABLE_TYPES},
    {"a type refused by S_FALSE", [](Pair& p) { p.sink.typeResult = S_FALSE; }, VFW_E_NO_ACCEPTABLE_TYPES},
    {"a type refused with a reason", [](Pair& p) { p.sink.typeResult = VFW_E_NO_DECOMPRESSOR; }, VFW_E_NO_DECOMPRESSOR},
    {"SetMediaType fails with a reason", [](Pair& p) { p.stream().plan.typeSetting = VFW_E_NOT_FOUND; },
     VFW_E_NOT_FOUND},
    {"SetMediaType fails without one", [](Pair& p) { p.stream().plan.typeSetting = E_FAIL; },
     VFW_E_NO_ACCEPTABLE_TYPES},
    {"the receiver cannot complete", [](Pair& p) { p.sink.completionResult = VFW_E_NO_ALLOCATOR; }, VFW_E_NO_ALLOCATOR},
    {"no buffer size can be agreed on", [](Pair& p) { p.stream().plan.bufferDecision = VFW_E_SIZENOTSET; },
     VFW_E_SIZENOTSET},
    {"of several refusals the first that says something",
     [](Pair& p) {
         p.stream().plan.types = {kTwoTypes.types[1], kTwoTypes.types[0]};
         p.sink.checkType = [](const CMediaType& type) {
             return type.subtype == MEDIASUBTYPE_MPEG2_PROGRAM ? E_FAIL : S_OK;
         };
         p.sink.completionResult = VFW_E_CIRCULAR_GRAPH;
     },
     VFW_E_CIRCULAR_GRAPH},
};

TEST_F(Connection, ARefusalLeavesBothPinsFree)
{
    for (const Refusal& refusal : kRefusals) {
        SCOPED_TRACE(refusal.fault);
        Pair pair;
        refusal.arrange(pair);
        EXPECT_HRESULT(refusal.expected, pair.connect());
        EXPECT_FALSE(pair.stream().IsConnected() || pair.input().IsConnected());
        EXPECT_EQ(nullptr, pair.stream().allocator());
        EXPECT_EQ(1u, references(pair.source.get()));
        EXPECT_EQ(1, pair.sink.references());
    }
}

std::wstring idOf(IPin& pin)
{
    LPWSTR id = nullptr;
    EXPECT_HRESULT(S_OK, pin.QueryId(&id));
    const std::wstring result = id;
    CoTaskMemFree(id);
    return result;
}

TEST_F(Connection, PinsAreFoundByTheirIdsOnly)
{
    Pair pair({}, 2);
    EXPECT_EQ(L"2", idOf(pair.stream(1)));
    EXPECT_EQ(L"In", idOf(pair.input()));
    PIN_INFO info{};
    ASSERT_HRESULT(S_OK, pair.stream(1).QueryPinInfo(&info));
    EXPECT_EQ(2u, references(info.pFilter));
    EXPECT_EQ(pair.source.get(), info.pFilter);
    info.pFilter->Release();
    EXPECT_STREQ(L"Out", info.achName);
    EXPECT_EQ(PINDIR_OUTPUT, info.dir);

    ComPtr<IPin> pin;
    ASSERT_HRESULT(S_OK, pair.source->FindPin(L"2", pin.put()));
    EXPECT_EQ(1, pair.filter->FindPinNumber(pin.get()));
    for (const wchar_t* id : {L"0", L"3", L"", L"Out", L"1x", L" 1", L"-1", L"4294967297", L"99999999999999999999"}) {
        IPin* none = pin.get();
        EXPECT_HRESULT(VFW_E_NOT_FOUND, pair.source->FindPin(id, &none)) << id;
        EXPECT_EQ(nullptr, none) << id;
    }
    EXPECT_HRESULT(E_POINTER, pair.source->FindPin(nullptr, pin.put()));
    EXPECT_HRESULT(E_POINTER, pair.source->FindPin(L"1", nullptr));
    ASSERT_HRESULT(S_OK, pair.sink.FindPin(L"In", pin.put()));
    EXPECT_HRESULT(VFW_E_NOT_FOUND, pair.sink.FindPin(L"1", pin.put()));
}

TEST_F(Connection, QualityMessagesGoToTheSinkOrUpstream)
{
    struct Listener : CUnknown, IQualityControl
    {
        DECLARE_IUNKNOWN
        Listener() : CUnknown(nullptr, nullptr) { NonDelegatingAddRef(); }
        STDMETHODIMP Notify(IBaseFilter*, Quality q) override
        {
            late = q.Late;
            return S_OK;
        }
        STDMETHODIMP SetSink(IQualityControl*) override { return E_NOTIMPL; }
        REFERENCE_TIME late = 0;
    } listener;
    Pair pair;
    Quality quality{Flood, 1000, 42, 0};
    EXPECT_HRESULT(VFW_E_NOT_FOUND, pair.input().PassNotify(quality));
    ASSERT_HRESULT(S_OK, pair.connect());
    EXPECT_HRESULT(E_NOTIMPL, pair.input().PassNotify(quality)) << "the source's pin does not handle it";
    EXPECT_HRESULT(S_OK, pair.input().SetSink(&listener));
    EXPECT_HRESULT(S_OK, pair.input().PassNotify(quality));
    EXPECT_EQ(42, listener.late);
}

}  // namespace

}  // namespace zarnow::test
