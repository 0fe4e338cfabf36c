#include "tests/windows/support/demultiplexer_pins.h"

#include <bdaiface.h>

#include "tests/windows/support/filter_module.h"

namespace zarnow::test {

namespace {

std::string nameOf(IPin& pin)
{
    PIN_INFO info = {};
    EXPECT_HRESULT(S_OK, pin.QueryPinInfo(&info));
    info.pFilter->Release();
    const std::wstring name = info.achName;
    return {name.begin(), name.end()};
}

std::string majorTypeOf(IPin& pin)
{
    ComPtr<IEnumMediaTypes> types;
    AM_MEDIA_TYPE* type = nullptr;
    EXPECT_HRESULT(S_OK, pin.EnumMediaTypes(&types));
    EXPECT_HRESULT(S_OK, types->Next(1, &type, nullptr));
    const GUID major = type->majortype;
    DeleteMediaType(type);
    return major == MEDIATYPE_Video       ? " video"
           : major == MEDIATYPE_Audio     ? " audio"
           : major == MEDIATYPE_MPEG2_PES ? " PES"
                                          : " ?";
}

std::string mappingsOf(IPin& pin)
{
    ComPtr<IEnumPIDMap> entries;
    EXPECT_HRESULT(S_OK, query<IMPEG2PIDMap>(&pin)->EnumPIDMap(&entries));
    std::string text;
    ULONG count = 0;
    for (PID_MAP entry = {}; entries->Next(1, &entry, &count) == S_OK;)
        text.append(" ")
            .append(std::to_string(entry.ulPID))
            .append(entry.MediaSampleContent == MEDIA_ELEMENTARY_STREAM ? " elementary" : " payload");
    return text;
}

}  // namespace

std::set<std::string> demultiplexerPins(IBaseFilter& demultiplexer)
{
    std::set<std::string> found;
    ComPtr<IEnumPins> pins;
    EXPECT_HRESULT(S_OK, demultiplexer.EnumPins(&pins));
    for (ComPtr<IPin> pin; pins->Next(1, pin.ReleaseAndGetAddressOf(), nullptr) == S_OK;) {
        PIN_DIRECTION direction = PINDIR_INPUT;
        EXPECT_HRESULT(S_OK, pin->QueryDirection(&direction));
        if (direction == PINDIR_OUTPUT)
            found.insert(nameOf(*pin.Get()) + majorTypeOf(*pin.Get()) + mappingsOf(*pin.Get()));
    }
    return found;
}

}  // namespace zarnow::test
