#include <climits>
#include <cstdint>
#include <new>

#include "allocator.h"

namespace {

bool isUsableAlignment(LONG alignment)
{
    SYSTEM_INFO system{};
    GetSystemInfo(&system);
    const bool powerOfTwo = alignment > 0 && (alignment & (alignment - 1)) == 0;
    // A block from VirtualAlloc starts at such a boundary.
    return powerOfTwo && static_cast<DWORD>(alignment) <= system.dwAllocationGranularity;
}

std::int64_t roundUp(std::int64_t value, std::int64_t alignment)
{
    return (value + alignment - 1) / alignment * alignment;
}

}  // namespace

CUnknown* CMemAllocator::CreateInstance(LPUNKNOWN pUnk, HRESULT* phr)
{
    auto* allocator = new (std::nothrow) CMemAllocator(nullptr, pUnk, phr);
    if (!allocator && phr)
        *phr = E_OUTOFMEMORY;
    return allocator;
}

CMemAllocator::CMemAllocator(CObjectName pName, LPUNKNOWN pUnk, HRESULT* phr) : CBaseAllocator(pName, pUnk, phr) {}

CMemAllocator::~CMemAllocator()
{
    CMemAllocator::Free();
}

STDMETHODIMP CMemAllocator::SetProperties(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual)
{
    if (!pRequest || !pActual)
        return E_POINTER;
    if (!isUsableAlignment(pRequest->cbAlign))
        return VFW_E_BADALIGN;
    ALLOCATOR_PROPERTIES rounded = *pRequest;
    const std::int64_t whole = std::int64_t{pRequest->cbBuffer} + pRequest->cbPrefix;
    const std::int64_t size = roundUp(whole, pRequest->cbAlign) - pRequest->cbPrefix;
    if (pRequest->cbBuffer >= 0 && pRequest->cbPrefix >= 0) {
        if (size > LONG_MAX)
            return E_OUTOFMEMORY;
        rounded.cbBuffer = static_cast<long>(size);
    }
    return CBaseAllocator::SetProperties(&rounded, pActual);
}

HRESULT CMemAllocator::Alloc()
{
    const HRESULT hr = CBaseAllocator::Alloc();
    if (hr != S_OK)
        return hr;
    CMemAllocator::Free();
    const HRESULT made = makeSamples();
    if (FAILED(made))
        CMemAllocator::Free();
    else
        m_bChanged = FALSE;
    return made;
}

HRESULT CMemAllocator::makeSamples()
{
    // The data of each sample is aligned, and its prefix lies in front of it.
    const SIZE_T lead = static_cast<SIZE_T>(roundUp(m_lPrefix, m_lAlignment));
    const SIZE_T stride = static_cast<SIZE_T>(std::int64_t{m_lPrefix} + m_lSize);
    const SIZE_T bytes = lead + stride * static_cast<SIZE_T>(m_lCount);
    m_pBuffer = static_cast<LPBYTE>(VirtualAlloc(nullptr, bytes, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
    if (!m_pBuffer)
        return E_OUTOFMEMORY;
    HRESULT hr = S_OK;
    for (; m_lAllocated < m_lCount; ++m_lAllocated) {
        const LPBYTE data = m_pBuffer + lead + stride * static_cast<SIZE_T>(m_lAllocated);
        auto* sample = new (std::nothrow) CMediaSample(nullptr, this, &hr, data, m_lSize);
        if (!sample)
            return E_OUTOFMEMORY;
        m_lFree.Add(sample);
    }
    return hr;
}

void CMemAllocator::Free()
{
    while (CMediaSample* sample = m_lFree.RemoveHead()) {
        delete sample;
        --m_lAllocated;
    }
    if (m_pBuffer)
        VirtualFree(m_pBuffer, 0, MEM_RELEASE);
    m_pBuffer = nullptr;
    m_bChanged = TRUE;
}

STDAPI CreateMemoryAllocator(IMemAllocator** ppAllocator)
{
    if (!ppAllocator)
        return E_POINTER;
    *ppAllocator = nullptr;
    HRESULT hr = S_OK;
    CUnknown* const allocator = CMemAllocator::CreateInstance(nullptr, &hr);
    if (!allocator)
        return E_OUTOFMEMORY;
    allocator->NonDelegatingAddRef();
    if (SUCCEEDED(hr))
        hr = allocator->NonDelegatingQueryInterface(IID_IMemAllocator, reinterpret_cast<void**>(ppAllocator));
    allocator->NonDelegatingRelease();
    return hr;
}
