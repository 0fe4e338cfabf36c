#include "tests/windows/demultiplexer/demux_fixture.h"

namespace zarnow::test {

namespace {

class PinManagement : public DemuxTest
{
protected:
    HRESULT setType(const wchar_t* name, CMediaType type)
    {
        return demultiplexer->SetOutputPinMediaType(const_cast<LPWSTR>(name), &type);
    }
    static ULONG offeredSampleSize(IPin& pin)
    {
        ComPtr<IEnumMediaTypes> types;
        EXPECT_HRESULT(S_OK, pin.EnumMediaTypes(types.GetAddressOf()));
        AM_MEDIA_TYPE* type = nullptr;
        EXPECT_HRESULT(S_OK, types->Next(1, &type, nullptr));
        const ULONG size = type->lSampleSize;
        DeleteMediaType(type);
        EXPECT_HRESULT(S_FALSE, types->Next(1, &type, nullptr));
        return size;
    }
};

TEST_F(PinManagement, CreatesAndDeletesPinsByName)
{
    CMediaType type = pinType(7);
    wchar_t name[] = L"MPEG2_0";
    ComPtr<IEnumPins> pins;
    ComPtr<IPin> pin;
    ComPtr<IPin> other;
    ASSERT_HRESULT(S_OK, filter->EnumPins(pins.GetAddressOf()));
    EXPECT_HRESULT(E_POINTER, demux::createDemultiplexer(nullptr));
    EXPECT_HRESULT(E_POINTER, demultiplexer->CreateOutputPin(nullptr, name, pin.GetAddressOf()));
    EXPECT_HRESULT(E_POINTER, demultiplexer->CreateOutputPin(&type, nullptr, pin.GetAddressOf()));
    EXPECT_HRESULT(E_POINTER, demultiplexer->CreateOutputPin(&type, name, nullptr));
    EXPECT_HRESULT(S_OK, pins->Skip(1));
    EXPECT_HRESULT(S_FALSE, pins->Skip(1)) << "a refused call creates nothing";
    ASSERT_HRESULT(S_OK, create(name, pin, 7));
    EXPECT_HRESULT(VFW_E_ENUM_OUT_OF_SYNC, pins->Next(1, other.GetAddressOf(), nullptr));
    EXPECT_HRESULT(S_OK, pins->Reset());
    EXPECT_HRESULT(S_OK, filter->FindPin(name, other.GetAddressOf()));
    EXPECT_EQ(pin.Get(), other.Get());
    EXPECT_EQ(7U, offeredSampleSize(*pin.Get()));
    EXPECT_HRESULT(VFW_E_DUPLICATE_NAME, create(name, other));
    EXPECT_EQ(nullptr, other.Get());
    EXPECT_HRESULT(E_POINTER, demultiplexer->SetOutputPinMediaType(name, nullptr));
    EXPECT_HRESULT(E_POINTER, setType(nullptr, type));
    EXPECT_HRESULT(VFW_E_NOT_FOUND, setType(L"mpeg2_0", type));
    EXPECT_HRESULT(E_POINTER, remove(nullptr));
    EXPECT_HRESULT(VFW_E_NOT_FOUND, remove(L"mpeg2_0"));
    EXPECT_HRESULT(S_OK, remove(name));
    EXPECT_HRESULT(VFW_E_ENUM_OUT_OF_SYNC, pins->Next(1, other.GetAddressOf(), nullptr));
    EXPECT_HRESULT(VFW_E_NOT_FOUND, remove(name));
    PIN_DIRECTION direction{};
    EXPECT_HRESULT(S_OK, pin->QueryDirection(&direction)) << "its holder keeps it alive";
    EXPECT_EQ(PINDIR_OUTPUT, direction);
    EXPECT_HRESULT(VFW_E_NOT_FOUND, pin->Connect(&first.input, nullptr)) << "but its filter no longer has it";
    EXPECT_HRESULT(S_OK, create(name, other)) << "the name is free again";
}

TEST_F(PinManagement, KeepsTheFilterAliveForTheHolderOfAPin)
{
    const ComPtr<IPin> pin = createPin(L"A");
    const IBaseFilter* const address = filter.Get();
    demultiplexer.Reset();
    input.Reset();
    EXPECT_EQ(1U, filter.Reset());
    PIN_INFO info{};
    ASSERT_HRESULT(S_OK, pin->QueryPinInfo(&info));
    EXPECT_STREQ(L"A", info.achName);
    EXPECT_EQ(address, info.pFilter);
    filter = info.pFilter;  // for the fixture
    info.pFilter->Release();
}

TEST_F(PinManagement, DisconnectsADeletedPinButNotWhileRunning)
{
    const ComPtr<IPin> pin = connectPin(L"A", 0x100, MEDIA_ELEMENTARY_STREAM, first);
    play();
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, remove(L"A"));
    EXPECT_TRUE(first.input.IsConnected());
    createPin(L"B");
    EXPECT_HRESULT(S_OK, remove(L"B")) << "one that is not connected can go at any time";
    stop();
    EXPECT_HRESULT(S_OK, remove(L"A"));
    EXPECT_FALSE(first.input.IsConnected());
    ComPtr<IPin> peer;
    EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pin->ConnectedTo(peer.GetAddressOf()));
}

TEST_F(PinManagement, TakesTransportStreamsOnly)
{
    const CMediaType stream = transportStreamType();
    EXPECT_HRESULT(S_OK, input->QueryAccept(&stream));
    for (const CMediaType& type : {mediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_PROGRAM), pinType(1)})
        EXPECT_HRESULT(S_FALSE, input->QueryAccept(&type));
}

TEST_F(PinManagement, ChangesATypeAlsoOnAConnectedPin)
{
    const ComPtr<IPin> pin = connectPin(L"A", 0x100, MEDIA_TRANSPORT_PAYLOAD, first);
    first.checkType = [](const CMediaType& type) { return type.lSampleSize == 5 ? VFW_E_TYPE_NOT_ACCEPTED : S_OK; };
    EXPECT_HRESULT(VFW_E_TYPE_NOT_ACCEPTED, setType(L"A", pinType(5)));
    EXPECT_EQ(1U, offeredSampleSize(*pin.Get())) << "the old type stays";
    EXPECT_HRESULT(S_OK, setType(L"A", pinType(6)));
    play();
    packets::Multiplexer multiplexer;
    const packets::Bytes unit = packets::Pes{.payload = packets::pattern(20, 1)}.bytes();
    EXPECT_HRESULT(S_OK, source.push(join({multiplexer.stream(0x100, unit), multiplexer.stream(0x100, unit)})));
    ASSERT_EQ(2U, first.samples.size());
    EXPECT_EQ(6U, first.samples[0].newSampleSize) << "the first sample brings the new type";
    EXPECT_EQ(std::nullopt, first.samples[1].newSampleSize);
}

TEST_F(PinManagement, MapsPids)
{
    using Entries = std::vector<std::pair<ULONG, int>>;
    const ComPtr<IMPEG2PIDMap> map = mapOf(*createPin(L"A").Get());
    const auto entries = [&] {
        Entries result;
        ComPtr<IEnumPIDMap> list;
        EXPECT_HRESULT(S_OK, map->EnumPIDMap(list.GetAddressOf()));
        PID_MAP entry{};
        for (ULONG count = 0; list->Next(1, &entry, &count) == S_OK;)
            result.emplace_back(entry.ulPID, entry.MediaSampleContent);
        return result;
    };
    ULONG pids[] = {0, 0x1FFF, 0x100};
    ULONG wrong[] = {5, 0x2000};
    EXPECT_HRESULT(S_OK, map->MapPID(3, pids, MEDIA_ELEMENTARY_STREAM));
    EXPECT_HRESULT(S_OK, map->MapPID(1, &pids[1], MEDIA_TRANSPORT_PAYLOAD)) << "mapped anew";
    const Entries mapped{
        {0, MEDIA_ELEMENTARY_STREAM}, {0x1FFF, MEDIA_TRANSPORT_PAYLOAD}, {0x100, MEDIA_ELEMENTARY_STREAM}};
    EXPECT_EQ(mapped, entries());
    EXPECT_HRESULT(E_INVALIDARG, map->MapPID(2, wrong, MEDIA_ELEMENTARY_STREAM));
    EXPECT_HRESULT(E_INVALIDARG, map->MapPID(1, wrong, MEDIA_MPEG2_PSI));
    EXPECT_HRESULT(E_INVALIDARG, map->UnmapPID(2, wrong));
    EXPECT_HRESULT(E_POINTER, map->MapPID(1, nullptr, MEDIA_ELEMENTARY_STREAM));
    EXPECT_HRESULT(E_POINTER, map->UnmapPID(1, nullptr));
    EXPECT_HRESULT(E_POINTER, map->EnumPIDMap(nullptr));
    EXPECT_EQ(mapped, entries()) << "a refused call changes nothing";
    EXPECT_HRESULT(S_OK, map->UnmapPID(2, pids));
    EXPECT_HRESULT(S_OK, map->UnmapPID(2, pids)) << "no longer mapped is no error";
    EXPECT_EQ((Entries{{0x100, MEDIA_ELEMENTARY_STREAM}}), entries());
}

TEST_F(PinManagement, EnumeratesASnapshotOfThePids)
{
    const ComPtr<IMPEG2PIDMap> map = mapOf(*createPin(L"A").Get());
    ULONG pids[] = {1, 2, 3};
    ASSERT_HRESULT(S_OK, map->MapPID(3, pids, MEDIA_ELEMENTARY_STREAM));
    ComPtr<IEnumPIDMap> list;
    ComPtr<IEnumPIDMap> clone;
    ASSERT_HRESULT(S_OK, map->EnumPIDMap(list.GetAddressOf()));
    ASSERT_HRESULT(S_OK, map->UnmapPID(3, pids));
    PID_MAP entry[4]{};
    ULONG count = 9;
    EXPECT_HRESULT(E_POINTER, list->Next(2, entry, nullptr)) << "more than one needs a count";
    EXPECT_HRESULT(E_POINTER, list->Next(1, nullptr, &count));
    EXPECT_HRESULT(E_POINTER, list->Clone(nullptr));
    EXPECT_HRESULT(S_OK, list->Next(1, entry, nullptr));
    ASSERT_HRESULT(S_OK, list->Clone(clone.GetAddressOf()));
    EXPECT_HRESULT(S_FALSE, list->Next(4, entry, &count));
    EXPECT_EQ(2U, count);
    EXPECT_EQ(2U, entry[0].ulPID);
    EXPECT_HRESULT(S_OK, clone->Skip(1)) << "the clone stands where the original stood";
    EXPECT_HRESULT(S_OK, clone->Next(1, entry, &count));
    EXPECT_EQ(3U, entry[0].ulPID);
    EXPECT_HRESULT(S_FALSE, clone->Skip(1));
    EXPECT_HRESULT(S_OK, list->Reset());
    EXPECT_HRESULT(S_OK, list->Next(3, entry, &count));
}

}  // namespace

}  // namespace zarnow::test
