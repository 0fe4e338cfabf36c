// The page's Browse button: another transport-stream file for the filter.

#include "ui/properties_page.h"

#include <commdlg.h>

#include "ui/text_conversion.h"

namespace zarnow {

namespace {

// Pairs of description and pattern, each ended by a zero, the list by one more.
constexpr char kFileFilter[] =
    "TP Files *.tp\0*.tp\0"
    "TS Files *.ts\0*.ts\0"
    "M2TS Files *.m2ts\0*.m2ts\0"
    "M2T Files *.m2t\0*.m2t\0"
    "MPEG File *.mpg\0*.mpg\0"
    "All Files *.*\0*.*\0";

}  // namespace

HRESULT CMPEGTSSourceProperties::browse(HWND hwnd)
{
    m_fileName.fill('\0');
    OPENFILENAMEA dialog = {};
    dialog.lStructSize = sizeof(dialog);
    dialog.hwndOwner = hwnd;
    dialog.lpstrFilter = kFileFilter;
    dialog.nFilterIndex = 1;
    dialog.lpstrFile = m_fileName.data();
    dialog.nMaxFile = static_cast<DWORD>(m_fileName.size());
    dialog.lpstrTitle = "Open transport stream file...";
    dialog.Flags = OFN_PATHMUSTEXIST;
    return GetOpenFileNameA(&dialog) ? loadFile(hwnd) : E_FAIL;
}

HRESULT CMPEGTSSourceProperties::loadFile(HWND hwnd)
{
    Microsoft::WRL::ComPtr<IFileSourceFilter> source;
    if (m_pTarnwell)
        m_pTarnwell->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(source.GetAddressOf()));
    if (source)
        source->Load(wideOfAnsi(m_fileName.data()).c_str(), nullptr);
    fillPage(hwnd);
    markPage(false);
    return S_OK;
}

}  // namespace zarnow
