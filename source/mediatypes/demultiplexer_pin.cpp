#include "mediatypes/demultiplexer_pin.h"

#include <wrl/client.h>

#include <array>
#include <cstdio>

using Microsoft::WRL::ComPtr;

namespace zarnow {

namespace {

/// Not const: the demultiplexer's methods take their names as LPWSTR.
using PinName = std::array<wchar_t, 40>;

PinName pinName(const wchar_t* prefix, std::size_t index)
{
    PinName name{};
    std::size_t length = 0;
    for (; prefix[length] != L'\0'; ++length)
        name[length] = prefix[length];
    name[length] = static_cast<wchar_t>(L'0' + index);
    return name;
}

}  // namespace

void deleteDemultiplexerPin(IMpeg2Demultiplexer& demultiplexer, const wchar_t* prefix, std::size_t index)
{
    PinName name = pinName(prefix, index);
    demultiplexer.DeleteOutputPin(name.data());
}

HRESULT createDemultiplexerPin(IMpeg2Demultiplexer& demultiplexer, const DemultiplexerPin& plan, CMediaType& type)
{
    deleteDemultiplexerPin(demultiplexer, plan.prefix, plan.index);
    PinName name = pinName(plan.prefix, plan.index);
    ComPtr<IPin> pin;
    demultiplexer.CreateOutputPin(&type, name.data(), &pin);  // a pin counts, not the result
    ComPtr<IMPEG2PIDMap> map;
    if (!pin || FAILED(pin->QueryInterface(IID_IMPEG2PIDMap, reinterpret_cast<void**>(map.GetAddressOf()))))
        return E_FAIL;
    ULONG pid = plan.pid;
    return map->MapPID(1, &pid, plan.content);
}

}  // namespace zarnow
