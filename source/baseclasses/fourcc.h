/// @file
/// GUIDs made from four-character codes.

#ifndef ZARNOW_BASECLASSES_FOURCC_H
#define ZARNOW_BASECLASSES_FOURCC_H

#include <windows.h>

/// The GUID XXXXXXXX-0000-0010-8000-00AA00389B71 of a four-character code or wave format tag.
class FOURCCMap : public GUID
{
public:
    FOURCCMap() : FOURCCMap(DWORD{0}) {}
    explicit FOURCCMap(DWORD Fourcc) : GUID{Fourcc, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}} {}
    explicit FOURCCMap(const GUID* pGuid) : FOURCCMap(pGuid->Data1) {}

    DWORD GetFOURCC() const { return Data1; }
    void SetFOURCC(DWORD fourcc) { Data1 = fourcc; }
    void SetFOURCC(const GUID* pGuid) { Data1 = pGuid->Data1; }
};

#endif
