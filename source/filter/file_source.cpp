// IFileSourceFilter of the pin, and what the filter asks of the file.

#include <algorithm>

#include "filter/mpeg_transp_stream.h"

namespace zarnow {

namespace {

constexpr std::size_t kPathLimit = 260;     // characters; a name of this many or more is taken for none
constexpr std::size_t kCurFileBytes = 522;  // what GetCurFile hands out, whatever the name's length

}  // namespace

STDMETHODIMP CMPEGTranspStream::Load(LPCOLESTR pszFileName, const AM_MEDIA_TYPE*)
{
    try {
        const CAnalysisLock lock(analysisMutex);
        setFileName(pszFileName);
        if (pszFileName == nullptr) {
            resetAnalysis();
            return E_POINTER;
        }
        const LoadResult result = loadFile(fileName.empty() ? nullptr : fileName.c_str());
        if (result.status != LoadResult::Status::loaded)
            fileName.clear();  // there is no current file then
        if (result.status == LoadResult::Status::cannotOpen)
            return HRESULT_FROM_WIN32(result.systemError);
        return result.status == LoadResult::Status::noData ? E_FAIL : S_OK;
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

void CMPEGTranspStream::setFileName(LPCOLESTR name)
{
    fileName.clear();
    const std::size_t length = name != nullptr ? wcsnlen(name, kPathLimit) : 0;
    if (length < kPathLimit)
        fileName.assign(name != nullptr ? name : L"", length);
}

STDMETHODIMP CMPEGTranspStream::GetCurFile(LPOLESTR* ppszFileName, AM_MEDIA_TYPE*)
{
    CheckPointer(ppszFileName, E_POINTER);
    *ppszFileName = nullptr;
    const CAnalysisLock lock(analysisMutex);
    auto* copy = static_cast<wchar_t*>(CoTaskMemAlloc(kCurFileBytes));
    if (copy == nullptr)
        return E_OUTOFMEMORY;
    std::fill_n(copy, kCurFileBytes / sizeof(wchar_t), L'\0');
    std::copy(fileName.begin(), fileName.end(), copy);
    *ppszFileName = copy;
    return S_OK;
}

void CMPEGTranspStream::rewind() noexcept
{
    const CAnalysisLock lock(analysisMutex);
    rewindToData();
}

}  // namespace zarnow
