#include "tests/windows/demultiplexer/demux_fixture.h"

namespace {

using namespace graphs;
using packets::operator+;

class PinManagement : public DemuxTest
{
protected:
    HRESULT remove(const wchar_t* name) { return demultiplexer_->DeleteOutputPin(const_cast<LPWSTR>(name)); }

    static std::vector<ULONG> offeredSampleSizes(IPin& pin)
    {
        std::vector<ULONG> sizes;
        ComPtr<IEnumMediaTypes> types;
        EXPECT_HRESULT(S_OK, pin.EnumMediaTypes(types.GetAddressOf()));
        for (AM_MEDIA_TYPE* type = nullptr; types->Next(1, &type, nullptr) == S_OK; DeleteMediaType(type))
            sizes.push_back(type->lSampleSize);
        return sizes;
    }

    int countPins()
    {
        ComPtr<IEnumPins> pins;
        EXPECT_HRESULT(S_OK, filter_->EnumPins(pins.GetAddressOf()));
        int count = 0;
        for (ComPtr<IPin> pin; pins->Next(1, pin.ReleaseAndGetAddressOf(), nullptr) == S_OK;)
            ++count;
        return count;
    }
};

TEST_F(PinManagement, ReportsWrongArguments)
{
    CMediaType type = pinType();
    ComPtr<IPin> pin;
    wchar_t name[] = L"A";
    wchar_t unknown[] = L"a";
    EXPECT_HRESULT(E_POINTER, demultiplexer_->CreateOutputPin(nullptr, name, pin.GetAddressOf()));
    EXPECT_HRESULT(E_POINTER, demultiplexer_->CreateOutputPin(&type, nullptr, pin.GetAddressOf()));
    EXPECT_HRESULT(E_POINTER, demultiplexer_->CreateOutputPin(&type, name, nullptr));
    EXPECT_EQ(1, countPins()) << "a refused call creates nothing";
    const ComPtr<IPin> created = createPin(name);
    EXPECT_HRESULT(VFW_E_DUPLICATE_NAME, demultiplexer_->CreateOutputPin(&type, name, pin.GetAddressOf()));
    EXPECT_EQ(nullptr, pin.Get());
    EXPECT_HRESULT(E_POINTER, demultiplexer_->SetOutputPinMediaType(name, nullptr));
    EXPECT_HRESULT(E_POINTER, demultiplexer_->SetOutputPinMediaType(nullptr, &type));
    EXPECT_HRESULT(VFW_E_NOT_FOUND, demultiplexer_->SetOutputPinMediaType(unknown, &type));
    EXPECT_HRESULT(E_POINTER, demultiplexer_->DeleteOutputPin(nullptr));
    EXPECT_HRESULT(VFW_E_NOT_FOUND, demultiplexer_->DeleteOutputPin(unknown));
    EXPECT_HRESULT(S_OK, demultiplexer_->DeleteOutputPin(name));
    EXPECT_HRESULT(VFW_E_NOT_FOUND, demultiplexer_->DeleteOutputPin(name));
    EXPECT_HRESULT(E_POINTER, demux::createDemultiplexer(nullptr));
}

TEST_F(PinManagement, ShowsCreatedPinsByNameAndType)
{
    const ComPtr<IPin> created = createPin(L"MPEG2_0", 7);
    ComPtr<IPin> found;
    ASSERT_HRESULT(S_OK, filter_->FindPin(L"MPEG2_0", found.GetAddressOf()));
    EXPECT_EQ(created.Get(), found.Get());
    PIN_INFO info{};
    ASSERT_HRESULT(S_OK, created->QueryPinInfo(&info));
    EXPECT_STREQ(L"MPEG2_0", info.achName);
    EXPECT_EQ(PINDIR_OUTPUT, info.dir);
    EXPECT_EQ(filter_.Get(), info.pFilter);
    info.pFilter->Release();
    EXPECT_EQ(std::vector<ULONG>{7}, offeredSampleSizes(*created.Get()));
}

TEST_F(PinManagement, InvalidatesEnumeratorsWithEveryChange)
{
    ComPtr<IEnumPins> pins;
    ComPtr<IPin> pin;
    ASSERT_HRESULT(S_OK, filter_->EnumPins(pins.GetAddressOf()));
    createPin(L"A");
    EXPECT_HRESULT(VFW_E_ENUM_OUT_OF_SYNC, pins->Next(1, pin.GetAddressOf(), nullptr));
    EXPECT_HRESULT(S_OK, pins->Reset());
    EXPECT_HRESULT(S_OK, pins->Next(1, pin.ReleaseAndGetAddressOf(), nullptr));
    EXPECT_HRESULT(S_OK, remove(L"A"));
    EXPECT_HRESULT(VFW_E_ENUM_OUT_OF_SYNC, pins->Next(1, pin.ReleaseAndGetAddressOf(), nullptr));
    EXPECT_EQ(1, countPins());
}

TEST_F(PinManagement, KeepsADeletedPinAliveForItsHolder)
{
    const ComPtr<IPin> pin = createPin(L"A");
    ASSERT_HRESULT(S_OK, remove(L"A"));
    PIN_DIRECTION direction{};
    EXPECT_HRESULT(S_OK, pin->QueryDirection(&direction));
    EXPECT_HRESULT(VFW_E_NOT_FOUND, pin->Connect(&first_->pin, nullptr)) << "its filter no longer has it";
    createPin(L"A");
    EXPECT_EQ(2, countPins()) << "the name is free again";
}

TEST_F(PinManagement, KeepsTheFilterAliveForTheHolderOfAPin)
{
    ComPtr<IPin> pin = createPin(L"A");
    input_.Reset();
    demultiplexer_.Reset();
    filter_.Reset();
    PIN_INFO info{};
    ASSERT_HRESULT(S_OK, pin->QueryPinInfo(&info));
    ComPtr<IBaseFilter> filter;
    *filter.GetAddressOf() = info.pFilter;  // its reference is ours now
    pin.Reset();
    filter_ = filter;  // for TearDown
}

TEST_F(PinManagement, DisconnectsADeletedPinButNotWhileRunning)
{
    const ComPtr<IPin> pin = connectPin(L"A", 0x100, MEDIA_ELEMENTARY_STREAM, *first_.Get());
    connectSource();
    run();
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, remove(L"A"));
    EXPECT_TRUE(first_->pin.IsConnected());
    createPin(L"B");
    EXPECT_HRESULT(S_OK, remove(L"B")) << "one that is not connected can go at any time";
    stop();
    EXPECT_HRESULT(S_OK, remove(L"A"));
    EXPECT_FALSE(first_->pin.IsConnected());
    ComPtr<IPin> peer;
    EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pin->ConnectedTo(peer.GetAddressOf()));
}

TEST_F(PinManagement, TakesTransportStreamsOnly)
{
    const CMediaType stream = transportStreamType();
    CMediaType program = stream;
    program.SetSubtype(&MEDIASUBTYPE_MPEG2_PROGRAM);
    const CMediaType video = pinType();
    EXPECT_HRESULT(S_OK, input_->QueryAccept(&stream));
    EXPECT_HRESULT(S_FALSE, input_->QueryAccept(&program));
    EXPECT_HRESULT(S_FALSE, input_->QueryAccept(&video));
}

TEST_F(PinManagement, ChangesATypeAlsoOnAConnectedPin)
{
    const ComPtr<IPin> pin = connectPin(L"A", 0x100, MEDIA_TRANSPORT_PAYLOAD, *first_.Get());
    first_->refusedSampleSize = 5;
    wchar_t name[] = L"A";
    CMediaType refused = pinType(5);
    CMediaType accepted = pinType(6);
    EXPECT_HRESULT(VFW_E_TYPE_NOT_ACCEPTED, demultiplexer_->SetOutputPinMediaType(name, &refused));
    EXPECT_EQ(std::vector<ULONG>{1}, offeredSampleSizes(*pin.Get())) << "the old type stays";
    EXPECT_HRESULT(S_OK, demultiplexer_->SetOutputPinMediaType(name, &accepted));
    connectSource();
    run();
    packets::Multiplexer multiplexer;
    const Bytes unit = packets::Pes{.payload = packets::pattern(20, 1)}.bytes();
    EXPECT_HRESULT(
        S_OK, source_->pin.push(packets::joined({multiplexer.stream(0x100, unit), multiplexer.stream(0x100, unit)})));
    ASSERT_EQ(2U, first_->samples.size());
    EXPECT_EQ(6U, first_->samples[0].newSampleSize) << "the first sample brings the new type";
    EXPECT_EQ(std::nullopt, first_->samples[1].newSampleSize);
}

class PidMaps : public DemuxTest
{
protected:
    void SetUp() override
    {
        DemuxTest::SetUp();
        map_ = mapOf(*createPin(L"A").Get());
    }

    void TearDown() override
    {
        map_.Reset();
        DemuxTest::TearDown();
    }

    using Entries = std::vector<std::pair<ULONG, int>>;

    Entries entries()
    {
        Entries result;
        ComPtr<IEnumPIDMap> list;
        EXPECT_HRESULT(S_OK, map_->EnumPIDMap(list.GetAddressOf()));
        PID_MAP entry{};
        for (ULONG count = 0; list->Next(1, &entry, &count) == S_OK;)
            result.emplace_back(entry.ulPID, entry.MediaSampleContent);
        return result;
    }

    ComPtr<IMPEG2PIDMap> map_;
};

TEST_F(PidMaps, MapAndUnmap)
{
    ULONG pids[] = {0, 0x1FFF, 0x100};
    ULONG wrong[] = {5, 0x2000};
    EXPECT_HRESULT(S_OK, map_->MapPID(3, pids, MEDIA_ELEMENTARY_STREAM));
    EXPECT_HRESULT(S_OK, map_->MapPID(1, &pids[1], MEDIA_TRANSPORT_PAYLOAD)) << "mapped anew";
    const Entries mapped{
        {0, MEDIA_ELEMENTARY_STREAM}, {0x1FFF, MEDIA_TRANSPORT_PAYLOAD}, {0x100, MEDIA_ELEMENTARY_STREAM}};
    EXPECT_EQ(mapped, entries());
    EXPECT_HRESULT(E_INVALIDARG, map_->MapPID(2, wrong, MEDIA_ELEMENTARY_STREAM));
    EXPECT_HRESULT(E_INVALIDARG, map_->MapPID(1, wrong, MEDIA_MPEG2_PSI));
    EXPECT_HRESULT(E_INVALIDARG, map_->UnmapPID(2, wrong));
    EXPECT_HRESULT(E_POINTER, map_->MapPID(1, nullptr, MEDIA_ELEMENTARY_STREAM));
    EXPECT_HRESULT(E_POINTER, map_->UnmapPID(1, nullptr));
    EXPECT_HRESULT(E_POINTER, map_->EnumPIDMap(nullptr));
    EXPECT_EQ(mapped, entries()) << "a refused call changes nothing";
    EXPECT_HRESULT(S_OK, map_->UnmapPID(2, pids));
    EXPECT_HRESULT(S_OK, map_->UnmapPID(2, pids)) << "no longer mapped is no error";
    EXPECT_EQ((Entries{{0x100, MEDIA_ELEMENTARY_STREAM}}), entries());
}

TEST_F(PidMaps, EnumerateASnapshot)
{
    ULONG pids[] = {1, 2, 3};
    ASSERT_HRESULT(S_OK, map_->MapPID(3, pids, MEDIA_ELEMENTARY_STREAM));
    ComPtr<IEnumPIDMap> list;
    ComPtr<IEnumPIDMap> clone;
    ASSERT_HRESULT(S_OK, map_->EnumPIDMap(list.GetAddressOf()));
    ASSERT_HRESULT(S_OK, map_->UnmapPID(3, pids));
    PID_MAP entry[4]{};
    ULONG count = 9;
    EXPECT_HRESULT(E_POINTER, list->Next(2, entry, nullptr)) << "more than one needs a count";
    EXPECT_HRESULT(E_POINTER, list->Next(1, nullptr, &count));
    EXPECT_HRESULT(S_OK, list->Next(1, entry, nullptr));
    ASSERT_HRESULT(S_OK, list->Clone(clone.GetAddressOf()));
    EXPECT_HRESULT(S_FALSE, list->Next(4, entry, &count));
    EXPECT_EQ(2U, count);
    EXPECT_EQ(2U, entry[0].ulPID);
    EXPECT_HRESULT(S_FALSE, list->Next(1, entry, &count));
    EXPECT_EQ(0U, count);
    EXPECT_HRESULT(S_OK, clone->Skip(1)) << "the clone stands where the original stood";
    EXPECT_HRESULT(S_OK, clone->Next(1, entry, &count));
    EXPECT_EQ(3U, entry[0].ulPID);
    EXPECT_HRESULT(S_FALSE, clone->Skip(1));
    EXPECT_HRESULT(S_OK, list->Reset());
    EXPECT_HRESULT(S_OK, list->Next(3, entry, &count));
    EXPECT_HRESULT(E_POINTER, list->Clone(nullptr));
}

}  // namespace
