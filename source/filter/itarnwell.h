/// @file
/// ITarnwell: the transport-stream source filter's own interface for applications.
///
/// Ask the filter (or its output pin) for it with QueryInterface. Lists the programs and streams of the loaded file,
/// selects the program to play, sizes the read buffer, forces a fixed PID layout for files without program tables and
/// reads facts about the AVC (H.264) video. Needs nothing but the platform's COM headers, in C and in C++.
///
/// A program is always named by the pair (PMT PID, program_number): several programs may share one PMT PID.
/// Programs are to be selected while the graph is stopped. Every method may also return E_OUTOFMEMORY.
/// itarnwell.idl declares the same for interface compilers.

#ifndef ZARNOW_ITARNWELL_H
#define ZARNOW_ITARNWELL_H

#include <objbase.h>

#ifdef __cplusplus
extern "C" {
#endif

/* {2B8F5D73-C61E-4A09-8E47-D3A06B15C2E8} */
static const IID IID_ITarnwell = {0x2b8f5d73, 0xc61e, 0x4a09, {0x8e, 0x47, 0xd3, 0xa0, 0x6b, 0x15, 0xc2, 0xe8}};

/* {4A7E2C19-B3D5-4F08-9C61-2E5D8A3F7B14} the filter, "Zarnow Transport Stream Source" */
static const CLSID CLSID_ZarnowTSSource = {
    0x4a7e2c19, 0xb3d5, 0x4f08, {0x9c, 0x61, 0x2e, 0x5d, 0x8a, 0x3f, 0x7b, 0x14}};

/* {6F2D9E41-0A7C-4B3E-A5D2-71C8E94B0F36} its property page, "TS Properties" */
static const CLSID CLSID_ZarnowTSProperties = {
    0x6f2d9e41, 0x0a7c, 0x4b3e, {0xa5, 0xd2, 0x71, 0xc8, 0xe9, 0x4b, 0x0f, 0x36}};

/// Facts about the AVC video of the selected program (ITU-T H.264), 52 bytes, little-endian.
typedef struct TarnwellVideoInfo
{
    DWORD profile_idc;
    DWORD level_idc;
    BYTE aspect_ratio_idc; /* 255: extended, see sarWidthLow and sarHeightLow */
    BYTE sarWidthLow;      /* low 8 bits of sar_width */
    BYTE sarHeightLow;     /* low 8 bits of sar_height */
    BYTE num_ref_frames;   /* low 8 bits of max_num_ref_frames */
    BYTE slicesPerPicture; /* slices of the first picture */
    BYTE bFrameRun;        /* length of the first run of B pictures; halved when frame_mbs_only_flag is 0 */
    BYTE gopPictureCount;  /* pictures before the second sequence parameter set; halved likewise */
    BYTE frame_mbs_only_flag;
    BYTE mb_adaptive_frame_field_flag;
    BYTE entropy_coding_mode_flag; /* 1: CABAC, 0: CAVLC */
    BYTE nal_hrd_parameters_present_flag;
    BYTE vcl_hrd_parameters_present_flag;
    BYTE fixed_frame_rate_flag;
    BYTE timing_info_present_flag;
    BYTE reserved[2];
    DWORD frameRateTimes100;            /* frames per second x 100, 0 when not known */
    DWORD estimatedAverageBitRate;      /* bits per second: 80 % of hrdBitRate */
    DWORD hrdBitRate;                   /* bits per second, first HRD schedule, else estimated from the file */
    DWORD hrdCpbSize;                   /* bits, first HRD schedule */
    DWORD initialCpbRemovalDelayLength; /* bits */
    DWORD timeOffsetLength;             /* time_offset_length + 1, in bits */
    DWORD initialCpbRemovalDelay;       /* 90 kHz ticks, first buffering-period SEI message */
} TarnwellVideoInfo;

#undef INTERFACE
#define INTERFACE ITarnwell

#if defined(__cplusplus) && !defined(CINTERFACE)
struct DECLSPEC_UUID("2B8F5D73-C61E-4A09-8E47-D3A06B15C2E8") ITarnwell; /* for __uuidof */
#endif

DECLARE_INTERFACE_(ITarnwell, IUnknown)
{
#if !defined(__cplusplus) || defined(CINTERFACE)
    STDMETHOD(QueryInterface)(THIS_ REFIID riid, void** ppv) PURE;
    STDMETHOD_(ULONG, AddRef)(THIS) PURE;
    STDMETHOD_(ULONG, Release)(THIS) PURE;
#endif

    /// Sets the size in bytes of the analysis read buffer and of each media sample; default 33000.
    /// @return VFW_E_NOT_STOPPED while the filter is paused or running, or why the filter's state cannot be told
    STDMETHOD(SetBufferSize)(THIS_ DWORD cb) PURE;

    /// @return E_POINTER when pcb is null
    STDMETHOD(GetBufferSize)(THIS_ DWORD * pcb) PURE;

    /// @return E_POINTER when pCount is null
    STDMETHOD(GetProgramCount)(THIS_ DWORD * pCount) PURE;

    /// The selected program. The numbers are always written, the index only when the program is in the list.
    /// @return S_FALSE when it is not, E_POINTER when an output that is to be written is null
    STDMETHOD(GetCurrentProgram)(THIS_ DWORD * pIndex, WORD * pProgramNumber, WORD * pPmtPid) PURE;

    /// @return E_FAIL when no program has both values; the selection then stays
    STDMETHOD(SelectProgramByNumber)(THIS_ WORD pmtPid, WORD programNumber) PURE;

    /// @return E_FAIL when index is past the last program; the selection then stays
    STDMETHOD(SelectProgram)(THIS_ DWORD index) PURE;

    /// pProgramNumber and pName may be null, but a name needs a valid pProgramNumber. An index past the last program
    /// leaves both numbers untouched. The caller frees the name with SysFreeString.
    /// @return E_POINTER when pPmtPid is null, or pProgramNumber with a name
    STDMETHOD(GetProgramInfo)(THIS_ DWORD index, WORD * pPmtPid, WORD * pProgramNumber, BSTR * pName) PURE;

    /// @return E_POINTER when pCount is null
    STDMETHOD(GetStreamCount)(THIS_ WORD pmtPid, WORD programNumber, DWORD * pCount) PURE;

    /// The index-th stream of a program: its PID and a description in words, freed with SysFreeString.
    /// @return S_FALSE without a text when the stream cannot be described, E_FAIL when there is no such stream,
    ///         E_POINTER when an output is null
    STDMETHOD(GetStreamInfo)(THIS_ DWORD index, WORD pmtPid, WORD programNumber, WORD * pPid, BSTR * pDescription) PURE;

    /// The PIDs and stream types to assume at the next load instead of reading program tables. In force only while
    /// both videoPid and audioPid are not 0. A pmtPid of 0 means 0x0100, an audioStreamType of 0 means 0x81.
    STDMETHOD(SetDefaultStreams)
    (THIS_ WORD pmtPid, WORD videoPid, WORD videoStreamType, WORD audioPid, WORD audioStreamType) PURE;

    /// Scans the selected program's AVC stream. Reads the file up to the second sequence parameter set.
    /// @param pInfo  52 bytes, written on success only
    /// @return E_FAIL when the program has no AVC stream or no scan succeeded, E_POINTER when pInfo is null
    STDMETHOD(GetVideoInfo)(THIS_ TarnwellVideoInfo * pInfo) PURE;
};

#undef INTERFACE

#ifdef __cplusplus
}
#endif

#if defined(__CRT_UUID_DECL) && defined(__cplusplus) && !defined(CINTERFACE)
__CRT_UUID_DECL(ITarnwell, 0x2b8f5d73, 0xc61e, 0x4a09, 0x8e, 0x47, 0xd3, 0xa0, 0x6b, 0x15, 0xc2, 0xe8)
#endif

#endif
