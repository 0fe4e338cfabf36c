/// @file
/// Push sources: a filter whose output pins each have a worker thread.
#pragma once

#include "output_pin.h"
#include "thread.h"

class CSourceStream;

class CSource : public CBaseFilter
{
public:
    CSource(LPCTSTR pName, LPUNKNOWN lpunk, CLSID clsid);
    CSource(LPCTSTR pName, LPUNKNOWN lpunk, CLSID clsid, HRESULT* phr);
    ~CSource() override;

    int GetPinCount() override;
    CBasePin* GetPin(int n) override;
    CCritSec* pStateLock() { return &m_cStateLock; }
    /// Pin ids are decimal numbers from "1".
    STDMETHODIMP FindPin(LPCWSTR Id, IPin** ppPin) override;
    /// From 0; -1 for a pin of somebody else.
    int FindPinNumber(IPin* iPin);

    HRESULT AddPin(CSourceStream* pStream);
    HRESULT RemovePin(CSourceStream* pStream);

protected:
    int m_iPins = 0;
    CSourceStream** m_paStreams = nullptr;  ///< made by new[]; the pins in it are deleted with the filter
    CCritSec m_cStateLock;
};

class CSourceStream : public CAMThread, public CBaseOutputPin
{
public:
    CSourceStream(LPCTSTR pObjectName, HRESULT* phr, CSource* pms, LPCWSTR pName);
    ~CSourceStream() override;

    enum Command { CMD_INIT, CMD_PAUSE, CMD_RUN, CMD_STOP, CMD_EXIT };
    HRESULT Init() { return call(CMD_INIT); }
    HRESULT Exit() { return call(CMD_EXIT); }
    HRESULT Run() { return call(CMD_RUN); }
    HRESULT Pause() { return call(CMD_PAUSE); }
    HRESULT Stop() { return call(CMD_STOP); }

    STDMETHODIMP QueryId(LPWSTR* Id) override;
    HRESULT Active() override;
    HRESULT Inactive() override;
    using CBaseOutputPin::Run;

    HRESULT CheckMediaType(const CMediaType* pMediaType) override;
    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
    /// For pins with one type.
    virtual HRESULT GetMediaType(CMediaType* pMediaType);

protected:
    /// S_OK: deliver it; S_FALSE: the end of the stream; an error ends the run.
    virtual HRESULT FillBuffer(IMediaSample* pSamp) = 0;
    virtual HRESULT OnThreadCreate() { return S_OK; }
    virtual HRESULT OnThreadDestroy() { return S_OK; }
    virtual HRESULT OnThreadStartPlay() { return S_OK; }

    DWORD ThreadProc() override;
    virtual HRESULT DoBufferProcessingLoop();

    Command GetRequest() { return static_cast<Command>(CAMThread::GetRequest()); }
    BOOL CheckRequest(Command* pCom);

    CSource* m_pFilter;  ///< not counted

private:
    HRESULT call(Command command) { return static_cast<HRESULT>(CallWorker(command)); }
    void answerUntilExit();
    HRESULT produceSample(bool& done);
};
