#pragma once

#include <windows.h>

namespace tsgraph {

/// A GUID of a media type with its published name. Subtypes also have the extension of a file with such a stream.
struct MediaGuid
{
    GUID guid;
    const char* name;
    const char* extension;  ///< null when there is none
};

/// @return null when the GUID is not in the table
const MediaGuid* findMediaGuid(const GUID& guid);

}  // namespace tsgraph
