// Connecting, agreeing on a media type, refusing, disconnecting.

#include "pair.h"

namespace {

class Connection : public FrameworkTest
{
};

CMediaType streamOf(const GUID& subtype, const GUID& format = GUID_NULL)
{
    CMediaType type(&MEDIATYPE_Stream);
    type.SetSubtype(&subtype);
    type.SetFormatType(&format);
    return type;
}

TEST_F(Connection, RecordsBothEndsTypeAndAllocator)
{
    Pair pair;
    ASSERT_HRESULT(S_OK, pair.connect());
    ComPtr<IPin> peer;
    EXPECT_HRESULT(S_OK, pair.stream().ConnectedTo(peer.put()));
    EXPECT_EQ(static_cast<IPin*>(&pair.input()), peer.get());
    EXPECT_HRESULT(S_OK, pair.input().ConnectedTo(peer.put()));
    EXPECT_EQ(static_cast<IPin*>(&pair.stream()), peer.get());
    EXPECT_TRUE(pair.stream().m_peerKnownAtSetMediaType);
    CMediaType type;
    EXPECT_HRESULT(S_OK, pair.input().ConnectionMediaType(&type));
    EXPECT_TRUE(type == byteStreamType());
    EXPECT_NE(nullptr, pair.stream().allocator());
    EXPECT_EQ(pair.stream().allocator(), pair.input().allocator());
    EXPECT_GT(references(pair.sink.get()), 1u) << "a connection holds the peer";
}

TEST_F(Connection, DisconnectingGivesEverythingBack)
{
    Pair pair;
    ASSERT_HRESULT(S_OK, pair.connect());
    EXPECT_HRESULT(S_OK, pair.stream().Disconnect());
    EXPECT_HRESULT(S_OK, pair.input().Disconnect());
    EXPECT_HRESULT(S_FALSE, pair.stream().Disconnect());
    EXPECT_EQ(1u, references(pair.source.get()));
    EXPECT_EQ(1u, references(pair.sink.get()));
    EXPECT_EQ(nullptr, pair.stream().allocator());
    EXPECT_EQ(nullptr, pair.input().allocator());
    auto* peer = static_cast<IPin*>(&pair.stream());
    EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pair.stream().ConnectedTo(&peer));
    EXPECT_EQ(nullptr, peer);
    AM_MEDIA_TYPE type{};
    EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pair.stream().ConnectionMediaType(&type));
    EXPECT_HRESULT(S_OK, pair.connect()) << "and it can be made again";
}

TEST_F(Connection, NullArgumentsAreRefused)
{
    Pair pair;
    EXPECT_HRESULT(E_POINTER, pair.stream().Connect(nullptr, nullptr));
    const CMediaType type = byteStreamType();
    EXPECT_HRESULT(E_POINTER, pair.input().ReceiveConnection(nullptr, &type));
    EXPECT_HRESULT(E_POINTER, pair.input().ReceiveConnection(&pair.stream(), nullptr));
    EXPECT_HRESULT(E_POINTER, pair.stream().ConnectedTo(nullptr));
    EXPECT_HRESULT(E_POINTER, pair.stream().QueryAccept(nullptr));
    EXPECT_HRESULT(E_POINTER, pair.stream().QueryPinInfo(nullptr));
    EXPECT_HRESULT(E_POINTER, pair.stream().QueryId(nullptr));
}

TEST_F(Connection, ASecondOneIsRefused)
{
    Pair pair;
    ASSERT_HRESULT(S_OK, pair.connect());
    Pair other;
    EXPECT_HRESULT(VFW_E_ALREADY_CONNECTED, pair.stream().Connect(&other.input(), nullptr));
    EXPECT_HRESULT(VFW_E_ALREADY_CONNECTED, other.stream().Connect(&pair.input(), nullptr))
        << "the first refusal that says something comes from the receiver";
    const CMediaType type = byteStreamType();
    EXPECT_HRESULT(VFW_E_ALREADY_CONNECTED, pair.input().ReceiveConnection(&other.stream(), &type));
}

TEST_F(Connection, NeedsStoppedFilters)
{
    Pair pair;
    ASSERT_HRESULT(S_OK, pair.source->Pause());
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.connect());
    ASSERT_HRESULT(S_OK, pair.source->Stop());
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, pair.pause());
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.stream().Disconnect());
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.input().Disconnect());
}

TEST_F(Connection, ARunningReceiverRefuses)
{
    Pair pair;
    ASSERT_HRESULT(S_OK, pair.sink->Pause());
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.connect());
    EXPECT_FALSE(pair.stream().IsConnected());
}

TEST_F(Connection, PinsOfOneDirectionDoNotFit)
{
    Pair pair;
    Pair other;
    const CMediaType type = byteStreamType();
    EXPECT_HRESULT(VFW_E_INVALID_DIRECTION, pair.stream().Connect(&other.stream(), nullptr));
    EXPECT_HRESULT(VFW_E_INVALID_DIRECTION, pair.input().ReceiveConnection(&other.input(), &type));
    EXPECT_FALSE(pair.stream().IsConnected());
    EXPECT_EQ(1u, references(other.source.get()));
}

TEST_F(Connection, ReceiversTypesComeBeforeOurs)
{
    StreamPlan plan;
    plan.types = {streamOf(MEDIASUBTYPE_MPEG2_TRANSPORT), streamOf(MEDIASUBTYPE_MPEG2_PROGRAM)};
    Pair pair(plan);
    pair.input().m_offers = {streamOf(MEDIASUBTYPE_MPEG1System), streamOf(MEDIASUBTYPE_MPEG2_PROGRAM)};
    ASSERT_HRESULT(S_OK, pair.connect());
    EXPECT_EQ(MEDIASUBTYPE_MPEG2_PROGRAM, pair.stream().type().subtype);
}

TEST_F(Connection, APartialTypeNarrowsTheSearch)
{
    StreamPlan plan;
    plan.types = {streamOf(MEDIASUBTYPE_MPEG2_TRANSPORT), streamOf(MEDIASUBTYPE_MPEG2_PROGRAM)};
    Pair pair(plan);
    const CMediaType wanted = streamOf(MEDIASUBTYPE_MPEG2_PROGRAM);
    ASSERT_HRESULT(S_OK, pair.connect(&wanted));
    ASSERT_EQ(1u, pair.input().m_checked.size()) << "types that do not fit are not tried";
    EXPECT_EQ(MEDIASUBTYPE_MPEG2_PROGRAM, pair.input().m_checked[0].subtype);
    pair.stream().Disconnect();
    pair.input().Disconnect();
    const CMediaType absent = streamOf(MEDIASUBTYPE_MPEG1Audio);
    EXPECT_HRESULT(VFW_E_NO_ACCEPTABLE_TYPES, pair.connect(&absent));
}

TEST_F(Connection, AWholeTypeIsTheOnlyOneTried)
{
    Pair pair;
    const CMediaType foreign = streamOf(MEDIASUBTYPE_MPEG1Audio, FORMAT_WaveFormatEx);
    EXPECT_HRESULT(VFW_E_TYPE_NOT_ACCEPTED, pair.connect(&foreign));
    EXPECT_TRUE(pair.input().m_checked.empty()) << "our own refusal comes first";
    const CMediaType whole = streamOf(MEDIASUBTYPE_MPEG2_TRANSPORT, FORMAT_None);
    ASSERT_HRESULT(S_OK, pair.connect(&whole));
    EXPECT_EQ(FORMAT_None, pair.input().type().formattype);
}

struct Refusal
{
    const char* fault;
    std::function<void(Pair&)> arrange;
    HRESULT expected;
};

const Refusal kRefusals[] = {
    {"a type refused without a reason", [](Pair& p) { p.input().m_typeAnswer = E_FAIL; }, VFW_E_NO_ACCEPTABLE_TYPES},
    {"a type refused by S_FALSE", [](Pair& p) { p.input().m_typeAnswer = S_FALSE; }, VFW_E_NO_ACCEPTABLE_TYPES},
    {"a type refused with a reason", [](Pair& p) { p.input().m_typeAnswer = VFW_E_NO_DECOMPRESSOR; },
     VFW_E_NO_DECOMPRESSOR},
    {"SetMediaType fails with a reason", [](Pair& p) { p.stream().m_plan.typeSetting = VFW_E_NOT_FOUND; },
     VFW_E_NOT_FOUND},
    {"SetMediaType fails without one", [](Pair& p) { p.stream().m_plan.typeSetting = E_FAIL; },
     VFW_E_NO_ACCEPTABLE_TYPES},
    {"the receiver cannot complete", [](Pair& p) { p.input().m_completion = VFW_E_NO_ALLOCATOR; }, VFW_E_NO_ALLOCATOR},
    {"no buffer size can be agreed on", [](Pair& p) { p.stream().m_plan.bufferDecision = VFW_E_SIZENOTSET; },
     VFW_E_SIZENOTSET},
};

TEST_F(Connection, ARefusalLeavesBothPinsFree)
{
    for (const Refusal& refusal : kRefusals) {
        Pair pair;
        refusal.arrange(pair);
        EXPECT_HRESULT(refusal.expected, pair.connect()) << refusal.fault;
        EXPECT_FALSE(pair.stream().IsConnected()) << refusal.fault;
        EXPECT_FALSE(pair.input().IsConnected()) << refusal.fault;
        EXPECT_EQ(nullptr, pair.stream().allocator()) << refusal.fault;
        EXPECT_EQ(1u, references(pair.source.get())) << refusal.fault;
        EXPECT_EQ(1u, references(pair.sink.get())) << refusal.fault;
    }
}

TEST_F(Connection, TheFirstRefusalThatSaysSomethingIsReported)
{
    Pair pair;
    pair.stream().m_plan.types = {streamOf(MEDIASUBTYPE_MPEG2_PROGRAM), streamOf(MEDIASUBTYPE_MPEG2_TRANSPORT)};
    // The first type gets a plain no; the second one meets a receiver that cannot complete.
    pair.input().m_accepts = [](const CMediaType& type) { return type.subtype != MEDIASUBTYPE_MPEG2_PROGRAM; };
    pair.input().m_completion = VFW_E_CIRCULAR_GRAPH;
    EXPECT_HRESULT(VFW_E_CIRCULAR_GRAPH, pair.connect());
}

TEST_F(Connection, QueryAcceptAnswersYesOrNo)
{
    Pair pair;
    const CMediaType good = byteStreamType();
    const CMediaType bad = streamOf(MEDIASUBTYPE_MPEG1Audio);
    EXPECT_HRESULT(S_OK, pair.stream().QueryAccept(&good));
    EXPECT_HRESULT(S_FALSE, pair.stream().QueryAccept(&bad));
}

TEST_F(Connection, APinTellsItsFilterNameAndId)
{
    Pair pair({}, 2);
    PIN_INFO info{};
    ASSERT_HRESULT(S_OK, pair.m_source->stream(1)->QueryPinInfo(&info));
    EXPECT_EQ(2u, references(pair.source.get()));
    EXPECT_EQ(pair.source.get(), info.pFilter);
    info.pFilter->Release();
    EXPECT_STREQ(L"Out", info.achName);
    EXPECT_EQ(PINDIR_OUTPUT, info.dir);
    LPWSTR id = nullptr;
    ASSERT_HRESULT(S_OK, pair.m_source->stream(1)->QueryId(&id));
    EXPECT_STREQ(L"2", id);
    CoTaskMemFree(id);
    ASSERT_HRESULT(S_OK, pair.input().QueryId(&id));
    EXPECT_STREQ(L"In", id);
    CoTaskMemFree(id);
}

TEST_F(Connection, FindPinTakesIdsOnly)
{
    Pair pair({}, 2);
    ComPtr<IPin> pin;
    ASSERT_HRESULT(S_OK, pair.source->FindPin(L"2", pin.put()));
    EXPECT_EQ(1, pair.m_source->FindPinNumber(pin.get()));
    for (const wchar_t* id : {L"0", L"3", L"", L"Out", L"1x", L" 1", L"-1", L"4294967297", L"99999999999999999999"}) {
        IPin* none = pin.get();
        EXPECT_HRESULT(VFW_E_NOT_FOUND, pair.source->FindPin(id, &none)) << id;
        EXPECT_EQ(nullptr, none) << id;
    }
    EXPECT_HRESULT(E_POINTER, pair.source->FindPin(nullptr, pin.put()));
    EXPECT_HRESULT(E_POINTER, pair.source->FindPin(L"1", nullptr));
    ASSERT_HRESULT(S_OK, pair.sink->FindPin(L"In", pin.put()));
    EXPECT_HRESULT(VFW_E_NOT_FOUND, pair.sink->FindPin(L"1", pin.put()));
}

TEST_F(Connection, InitialSegmentHasNoEnd)
{
    Pair pair;
    EXPECT_EQ(0, pair.stream().CurrentStartTime());
    EXPECT_EQ(MAX_TIME, pair.stream().CurrentStopTime());
    EXPECT_EQ(1.0, pair.stream().CurrentRate());
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
