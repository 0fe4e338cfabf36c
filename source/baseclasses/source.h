/// @file
/// Source filters that push their data: each output pin has a thread that fills and delivers samples.

#ifndef ZARNOW_BASECLASSES_SOURCE_H
#define ZARNOW_BASECLASSES_SOURCE_H

#include "output_pin.h"
#include "thread.h"

class CSourceStream;

/// The filter. Its pins are CSourceStream objects, which put themselves on its list and are deleted with it.
class CSource : public CBaseFilter
{
public:
    CSource(CObjectName pName, LPUNKNOWN lpunk, CLSID clsid, HRESULT* phr);
    /// Ends the pins' threads and deletes the pins.
    ~CSource() override;

    int GetPinCount() override;
    CBasePin* GetPin(int n) override;
    /// The ids are decimal numbers from "1": VFW_E_NOT_FOUND clears *ppPin.
    STDMETHODIMP FindPin(LPCWSTR Id, IPin** ppPin) override;
    /// As the base class's; a thread of one of the pins, for which a state change may be waiting, does not wait.
    STDMETHODIMP GetState(DWORD dwMSecs, FILTER_STATE* State) override;
    /// Index of a pin; -1 when it is not ours.
    int FindPinNumber(IPin* iPin);

    CCritSec* pStateLock() { return &m_cStateLock; }

    HRESULT AddStream(CSourceStream* pStream);
    HRESULT RemoveStream(CSourceStream* pStream);

protected:
    int m_iPins = 0;
    CSourceStream** m_paStreams = nullptr;  ///< from new[]
    CCritSec m_cStateLock;
};

/// The pin. Its thread answers Init, Pause, Run, Stop and Exit; from Pause or Run on it delivers what FillBuffer
/// fills until Stop.
class CSourceStream : public CAMThread, public CBaseOutputPin
{
public:
    CSourceStream(CObjectName pObjectName, HRESULT* phr, CSource* pms, LPCWSTR pName);
    ~CSourceStream() override;

    STDMETHODIMP QueryId(LPWSTR* Id) override;

    /// Starts the thread: E_FAIL when it cannot be, else what Init or Pause answered.
    HRESULT Active() override;
    /// Ends the thread; waits for a FillBuffer or Receive that is under way.
    HRESULT Inactive() override;

    HRESULT Init() { return command(CMD_INIT); }
    HRESULT Exit() { return command(CMD_EXIT); }
    HRESULT Run() { return command(CMD_RUN); }
    HRESULT Pause() { return command(CMD_PAUSE); }
    HRESULT Stop() { return command(CMD_STOP); }

    using CBaseOutputPin::GetMediaType;

protected:
    enum Command { CMD_INIT, CMD_PAUSE, CMD_RUN, CMD_STOP, CMD_EXIT };

    /// Fills a sample: S_OK delivers it, S_FALSE ends the stream, an error ends it with EC_ERRORABORT.
    virtual HRESULT FillBuffer(IMediaSample* pSamp) = 0;
    virtual HRESULT OnThreadCreate() { return S_OK; }
    virtual HRESULT OnThreadDestroy() { return S_OK; }
    virtual HRESULT OnThreadStartPlay() { return S_OK; }

    DWORD ThreadProc() override;
    /// S_FALSE after Stop came, S_OK when the stream ended by itself, an error of FillBuffer.
    virtual HRESULT DoBufferProcessingLoop();
    /// Of the pins with just one type, which are not known here.
    virtual HRESULT GetMediaType(CMediaType*) { return E_UNEXPECTED; }

    Command GetRequest() { return static_cast<Command>(CAMThread::GetRequest()); }
    BOOL CheckRequest(Command* pCom);

    CSource* m_pFilter;  ///< the same filter as the base class's, with its own type

private:
    friend class CSource;

    /// One run of the thread procedure, on the worker's stack. When the worker itself ends the thread, by a call from
    /// downstream that stops or destroys the filter, the pin must not be touched any more once that call is back.
    struct Worker
    {
        bool abandoned = false;
    };

    HRESULT command(Command which) { return static_cast<HRESULT>(CallWorker(which)); }
    bool waitForInit();
    HRESULT create();
    void obeyUntilExit(const Worker& worker);
    HRESULT deliverNext(const Worker& worker);
    HRESULT endStream(const Worker& worker, HRESULT reason);
    void endThread();

    Worker* m_worker = nullptr;
};

#endif
