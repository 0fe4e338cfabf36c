/// @file
/// A stand-in for the system's MPEG-2 demultiplexer where that one is not registered: a filter with one input pin for
/// MEDIATYPE_Stream / MEDIASUBTYPE_MPEG2_TRANSPORT and the output pins that IMpeg2Demultiplexer creates, each with
/// IMPEG2PIDMap. For the tools and the tests; it is linked into them and never registered.
///
/// Results of IMpeg2Demultiplexer:
///   CreateOutputPin        E_POINTER for a null argument, VFW_E_DUPLICATE_NAME when a pin has the name
///   SetOutputPinMediaType  E_POINTER, VFW_E_NOT_FOUND for an unknown name, VFW_E_TYPE_NOT_ACCEPTED when the connected
///                          pin refuses the new type (the old one then stays)
///   DeleteOutputPin        E_POINTER, VFW_E_NOT_FOUND for an unknown name, VFW_E_NOT_STOPPED for a connected pin while
///                          the filter is not stopped; a connected pin is disconnected first
/// Results of IMPEG2PIDMap:
///   MapPID                 E_POINTER, E_INVALIDARG for a PID above 0x1FFF or a content other than
///                          MEDIA_ELEMENTARY_STREAM and MEDIA_TRANSPORT_PAYLOAD; nothing is mapped then. A PID that is
///                          mapped already takes the new content
///   UnmapPID               E_POINTER, E_INVALIDARG; a PID that is not mapped is no error
/// Maps and pins may change while the filter runs; the streaming thread follows with its next sample. A pin that is
/// connected to nothing costs nothing.
///
/// All pins are served by the thread that delivers to the input pin: a downstream filter that blocks one of them holds
/// up the others.

#pragma once

#include <windows.h>
#include <dshow.h>

namespace demux {

/// @param filter  out: the new filter with one reference
/// @return E_POINTER, E_OUTOFMEMORY
HRESULT createDemultiplexer(IBaseFilter** filter) noexcept;

}  // namespace demux
