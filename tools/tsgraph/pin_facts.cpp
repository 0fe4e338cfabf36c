#include "tools/tsgraph/pin_facts.h"

#include <algorithm>

#include "tools/common/utf8.h"
#include "tools/tsgraph/failure.h"

namespace tsgraph {
namespace {

bool isOutput(IPin& pin)
{
    PIN_DIRECTION direction = PINDIR_INPUT;
    return SUCCEEDED(pin.QueryDirection(&direction)) && direction == PINDIR_OUTPUT;
}

std::wstring nameOf(IPin& pin)
{
    PIN_INFO info{};
    check(pin.QueryPinInfo(&info), "a pin of the demultiplexer does not tell its name");
    if (info.pFilter != nullptr)
        info.pFilter->Release();
    return info.achName;
}

CMediaType firstTypeOf(IPin& pin)
{
    CMediaType result;
    ComPtr<IEnumMediaTypes> types;
    AM_MEDIA_TYPE* type = nullptr;
    if (FAILED(pin.EnumMediaTypes(types.GetAddressOf())) || types->Next(1, &type, nullptr) != S_OK)
        return result;
    const HRESULT copied = result.Set(*type);
    DeleteMediaType(type);
    check(copied, "a media type of the demultiplexer cannot be copied");
    return result;
}

std::vector<PID_MAP> pidsOf(IPin& pin)
{
    std::vector<PID_MAP> result;
    ComPtr<IMPEG2PIDMap> map;
    ComPtr<IEnumPIDMap> entries;
    if (FAILED(pin.QueryInterface(__uuidof(IMPEG2PIDMap), reinterpret_cast<void**>(map.GetAddressOf()))) ||
        FAILED(map->EnumPIDMap(entries.GetAddressOf())))
        return result;
    PID_MAP entry{};
    for (ULONG received = 0; entries->Next(1, &entry, &received) == S_OK && received == 1;)
        result.push_back(entry);
    return result;
}

PinFacts readPin(const ComPtr<IPin>& pin)
{
    return {pin, nameOf(*pin.Get()), firstTypeOf(*pin.Get()), pidsOf(*pin.Get())};
}

}  // namespace

bool PinFacts::carriesPesPackets() const
{
    const auto isPayload = [](const PID_MAP& entry) { return entry.MediaSampleContent == MEDIA_TRANSPORT_PAYLOAD; };
    return std::ranges::any_of(pids, isPayload);
}

std::vector<PinFacts> readPins(IBaseFilter& demultiplexer)
{
    ComPtr<IEnumPins> pins;
    check(demultiplexer.EnumPins(pins.GetAddressOf()), "the demultiplexer's pins cannot be listed");
    std::vector<PinFacts> result;
    for (ComPtr<IPin> pin; pins->Next(1, pin.ReleaseAndGetAddressOf(), nullptr) == S_OK;) {
        if (isOutput(*pin.Get()))
            result.push_back(readPin(pin));
    }
    return result;
}

}  // namespace tsgraph
