/// @file
/// The filter's one output pin, "TS Out": the file source, the position control, the selection interface, and the
/// worker that delivers one transport packet per media sample.
#pragma once

#include <streams.h>

#include <string>

#include "esparse/program_selection.h"
#include "filter/analysis_lock.h"
#include "filter/itarnwell.h"

namespace zarnow {

class CMPEGTSSource;

class CMPEGTranspStream final : public CSourceStream,
                                public CProgramSelection,
                                public IMediaPosition,
                                public IFileSourceFilter,
                                public ITarnwell
{
public:
    DECLARE_IUNKNOWN

    CMPEGTranspStream(HRESULT* phr, CMPEGTSSource* filter);
    ~CMPEGTranspStream() override;

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    /// Finds the first packet anew and moves there, for a start from the stopped state.
    void rewind() noexcept;

    /// Selects without marking the filter's persisted state as changed.
    HRESULT restoreProgram(WORD pmtPid, WORD programNumber) noexcept;

    // CSourceStream
    HRESULT FillBuffer(IMediaSample* pSample) override;
    HRESULT OnThreadCreate() override { return S_OK; }
    HRESULT OnThreadDestroy() override;
    HRESULT OnThreadStartPlay() override { return S_OK; }
    HRESULT GetMediaType(CMediaType*) override { return E_UNEXPECTED; }

    // CBaseOutputPin
    HRESULT DeliverEndOfStream() override;
    HRESULT Active() override;
    HRESULT Inactive() override;
    HRESULT CheckMediaType(const CMediaType* pmt) override;
    HRESULT SetMediaType(const CMediaType* pmt) override;
    HRESULT GetMediaType(int iPosition, CMediaType* pmt) override;
    HRESULT DecideAllocator(IMemInputPin* pPin, IMemAllocator** ppAlloc) override;
    HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pRequest) override;

    // IFileSourceFilter
    STDMETHODIMP Load(LPCOLESTR pszFileName, const AM_MEDIA_TYPE* pmt) override;
    STDMETHODIMP GetCurFile(LPOLESTR* ppszFileName, AM_MEDIA_TYPE* pmt) override;

    // IDispatch
    STDMETHODIMP GetTypeInfoCount(UINT* pctinfo) override;
    STDMETHODIMP GetTypeInfo(UINT itinfo, LCID lcid, ITypeInfo** pptinfo) override;
    STDMETHODIMP GetIDsOfNames(REFIID riid, LPOLESTR* rgszNames, UINT cNames, LCID lcid, DISPID* rgdispid) override;
    STDMETHODIMP Invoke(DISPID dispid, REFIID riid, LCID lcid, WORD wFlags, DISPPARAMS* pParams, VARIANT* pResult,
                        EXCEPINFO* pExcepInfo, UINT* puArgErr) override;

    // IMediaPosition: seconds. The only seek there is rewinds to the first packet.
    STDMETHODIMP get_Duration(REFTIME* pLength) override;
    STDMETHODIMP put_CurrentPosition(REFTIME llTime) override;
    STDMETHODIMP get_CurrentPosition(REFTIME* pllTime) override;
    STDMETHODIMP get_StopTime(REFTIME* pllTime) override;
    STDMETHODIMP put_StopTime(REFTIME llTime) override;
    STDMETHODIMP get_PrerollTime(REFTIME* pllTime) override;
    STDMETHODIMP put_PrerollTime(REFTIME llTime) override;
    STDMETHODIMP put_Rate(double dRate) override;
    STDMETHODIMP get_Rate(double* pdRate) override;
    STDMETHODIMP CanSeekForward(LONG* pCanSeek) override;
    STDMETHODIMP CanSeekBackward(LONG* pCanSeek) override;

    // ITarnwell
    STDMETHODIMP SetBufferSize(DWORD cb) override;
    STDMETHODIMP GetBufferSize(DWORD* pcb) override;
    STDMETHODIMP GetProgramCount(DWORD* pCount) override;
    STDMETHODIMP GetCurrentProgram(DWORD* pIndex, WORD* pProgramNumber, WORD* pPmtPid) override;
    STDMETHODIMP SelectProgramByNumber(WORD pmtPid, WORD programNumber) override;
    STDMETHODIMP SelectProgram(DWORD index) override;
    STDMETHODIMP GetProgramInfo(DWORD index, WORD* pPmtPid, WORD* pProgramNumber, BSTR* pName) override;
    STDMETHODIMP GetStreamCount(WORD pmtPid, WORD programNumber, DWORD* pCount) override;
    STDMETHODIMP GetStreamInfo(DWORD index, WORD pmtPid, WORD programNumber, WORD* pPid, BSTR* pDescription) override;
    STDMETHODIMP SetDefaultStreams(WORD pmtPid, WORD videoPid, WORD videoStreamType, WORD audioPid,
                                   WORD audioStreamType) override;
    STDMETHODIMP GetVideoInfo(TarnwellVideoInfo* pInfo) override;

private:
    void configureDemultiplexer() override;
    HRESULT ConfigureDemultiplexer();
    void deliverPendingEndFlush();
    void announceSegment();
    void setFileName(LPCOLESTR name);
    HRESULT tryAllocator(IMemInputPin& pin, IMemAllocator* allocator, ALLOCATOR_PROPERTIES wanted);
    bool isToldToStop();
    HRESULT fillRaw(IMediaSample& sample, BYTE* data, std::uint32_t size);
    HRESULT fillPacket(IMediaSample& sample, BYTE* data, std::uint32_t size);
    HRESULT selected(bool done) noexcept;

    AnalysisMutex analysisMutex;
    CCritSec positionLock;         // put_CurrentPosition
    CCritSec flushLock;            // guards endFlushPending
    bool endFlushPending = false;  // no operation sets it; kept for those that will flush
    CBaseDispatch dispatch;
    std::wstring fileName;  // empty: none
    bool AvcPresent = false;
    bool gapLeft = false;  // a stop cut the search for the next packet short: the stream has not ended
    CMPEGTSSource& filter;
};

}  // namespace zarnow
