#pragma once

#include <streams.h>

#include <string>

namespace tsgraph {

/// "{73646976-0000-0010-8000-00AA00389B71}"
std::string guidText(const GUID& guid);

/// The names of the type's GUIDs where they are known, and what the format block says: picture size, frame rate, aspect
/// ratio and bit rate, or channels and sample rate. A block too small for its format type is said to be so.
std::string describeMediaType(const AM_MEDIA_TYPE& type);

/// Usual file name extension of the type's elementary stream, without the dot.
std::string streamExtension(const AM_MEDIA_TYPE& type);

}  // namespace tsgraph
