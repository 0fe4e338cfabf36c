// IMediaPosition of the pin. There is no mapping from time to file offset: a position at the very start rewinds, any
// other one is only remembered.

#include "analysis/media_clock.h"
#include "filter/mpeg_transp_stream.h"

namespace zarnow {

namespace {

constexpr REFERENCE_TIME kRewindBelow = 333333;  // one thirtieth of a second

}  // namespace

void CMPEGTranspStream::announceSegment()
{
    REFTIME duration = 0.0;
    get_Duration(&duration);
    m_tStop = unitsOfSeconds(duration);
    DeliverNewSegment(m_tStart, m_tStop, m_dRate);
}

STDMETHODIMP CMPEGTranspStream::get_Duration(REFTIME* pLength)
{
    CheckPointer(pLength, E_POINTER);
    *pLength = durationSeconds;
    return S_OK;
}

STDMETHODIMP CMPEGTranspStream::put_CurrentPosition(REFTIME llTime)
{
    CAutoLock lock(&positionLock);
    m_tStart = unitsOfSeconds(llTime);
    if (m_tStart < kRewindBelow)
        file.moveTo(static_cast<std::int32_t>(startOffset));
    return S_OK;
}

/// Never reports a position: the caller's variable keeps its value.
STDMETHODIMP CMPEGTranspStream::get_CurrentPosition(REFTIME* pllTime)
{
    return pllTime != nullptr ? S_OK : E_POINTER;
}

STDMETHODIMP CMPEGTranspStream::get_StopTime(REFTIME* pllTime)
{
    CheckPointer(pllTime, E_POINTER);
    *pllTime = secondsOfUnits(m_tStop);
    return S_OK;
}

STDMETHODIMP CMPEGTranspStream::put_StopTime(REFTIME llTime)
{
    m_tStop = unitsOfSeconds(llTime);
    return S_OK;
}

STDMETHODIMP CMPEGTranspStream::get_PrerollTime(REFTIME* pllTime)
{
    CheckPointer(pllTime, E_POINTER);
    *pllTime = 0.0;
    return S_OK;
}

STDMETHODIMP CMPEGTranspStream::put_PrerollTime(REFTIME)
{
    return E_NOTIMPL;
}

STDMETHODIMP CMPEGTranspStream::put_Rate(double dRate)
{
    m_dRate = dRate;
    return S_OK;
}

STDMETHODIMP CMPEGTranspStream::get_Rate(double* pdRate)
{
    CheckPointer(pdRate, E_POINTER);
    *pdRate = m_dRate;
    return S_OK;
}

STDMETHODIMP CMPEGTranspStream::CanSeekForward(LONG* pCanSeek)
{
    CheckPointer(pCanSeek, E_POINTER);
    *pCanSeek = OATRUE;
    return S_OK;
}

STDMETHODIMP CMPEGTranspStream::CanSeekBackward(LONG* pCanSeek)
{
    CheckPointer(pCanSeek, E_POINTER);
    *pCanSeek = OATRUE;
    return S_OK;
}

STDMETHODIMP CMPEGTranspStream::GetTypeInfoCount(UINT* pctinfo)
{
    return dispatch.GetTypeInfoCount(pctinfo);
}

STDMETHODIMP CMPEGTranspStream::GetTypeInfo(UINT itinfo, LCID lcid, ITypeInfo** pptinfo)
{
    return dispatch.GetTypeInfo(IID_IMediaPosition, itinfo, lcid, pptinfo);
}

STDMETHODIMP CMPEGTranspStream::GetIDsOfNames(REFIID, LPOLESTR* rgszNames, UINT cNames, LCID lcid, DISPID* rgdispid)
{
    return dispatch.GetIDsOfNames(IID_IMediaPosition, rgszNames, cNames, lcid, rgdispid);
}

STDMETHODIMP CMPEGTranspStream::Invoke(DISPID dispid, REFIID riid, LCID lcid, WORD wFlags, DISPPARAMS* pParams,
                                       VARIANT* pResult, EXCEPINFO* pExcepInfo, UINT* puArgErr)
{
    if (riid != IID_NULL)
        return DISP_E_UNKNOWNINTERFACE;
    ITypeInfo* information = nullptr;
    HRESULT result = GetTypeInfo(0, lcid, &information);
    if (FAILED(result))
        return result;
    result =
        information->Invoke(static_cast<IMediaPosition*>(this), dispid, wFlags, pParams, pResult, pExcepInfo, puArgErr);
    information->Release();
    return result;
}

}  // namespace zarnow
