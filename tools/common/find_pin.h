#pragma once

#include <streams.h>

#include "tools/common/com_ptr.h"

/// The filter's first pin of the direction; null when there is none.
inline ComPtr<IPin> findPin(IBaseFilter& filter, PIN_DIRECTION direction)
{
    ComPtr<IEnumPins> pins;
    if (FAILED(filter.EnumPins(pins.GetAddressOf())))
        return {};
    for (ComPtr<IPin> pin; pins->Next(1, pin.ReleaseAndGetAddressOf(), nullptr) == S_OK;) {
        PIN_DIRECTION found{};
        if (SUCCEEDED(pin->QueryDirection(&found)) && found == direction)
            return pin;
    }
    return {};
}
