#include "ui/properties_page.h"

#include <cstdio>
#include <new>

#include "ui/resource_ids.h"
#include "ui/text_conversion.h"
#include "ui/version.h"

namespace zarnow {

namespace {

constexpr const char* kVersionLine =
    "Zarnow TS Source - Version: " ZARNOW_VERSION_TEXT "\n64-bit DirectShow source filter for MPEG transport streams";

constexpr int kStreamLines = IDC_STREAM_4 - IDC_STREAM_1 + 1;

LRESULT sendToPrograms(HWND hwnd, UINT message, WPARAM wParam = 0, LPARAM lParam = 0)
{
    return SendDlgItemMessageA(hwnd, IDC_PROGRAMS, message, wParam, lParam);
}

std::string programLine(const std::string& name, WORD pmtPid)
{
    std::array<char, 16> pid{};
    std::snprintf(pid.data(), pid.size(), " (0x%.4X)", static_cast<unsigned>(pmtPid));
    return name + pid.data();
}

}  // namespace

CUnknown* WINAPI CMPEGTSSourceProperties::CreateInstance(LPUNKNOWN pUnkOuter, HRESULT* phr)
{
    CUnknown* page = new (std::nothrow) CMPEGTSSourceProperties(pUnkOuter, phr);
    if (page == nullptr)
        *phr = E_OUTOFMEMORY;
    return page;
}

CMPEGTSSourceProperties::CMPEGTSSourceProperties(LPUNKNOWN pUnkOuter, HRESULT*)
    : CBasePropertyPage(nullptr, pUnkOuter, IDD_PROPERTIES, IDS_PAGE_TITLE)
{
}

HRESULT CMPEGTSSourceProperties::OnConnect(IUnknown* pUnknown)
{
    CheckPointer(pUnknown, E_POINTER);
    m_pTarnwell.Reset();
    const HRESULT result =
        pUnknown->QueryInterface(IID_ITarnwell, reinterpret_cast<void**>(m_pTarnwell.GetAddressOf()));
    return FAILED(result) ? E_NOINTERFACE : S_OK;
}

HRESULT CMPEGTSSourceProperties::OnDisconnect()
{
    m_pTarnwell.Reset();
    return S_OK;
}

HRESULT CMPEGTSSourceProperties::OnApplyChanges()
{
    if (const auto tarnwell = m_pTarnwell)
        tarnwell->SelectProgramByNumber(m_pmtPid, m_programNumber);
    markPage(false);
    return S_OK;
}

void CMPEGTSSourceProperties::markPage(bool dirty)
{
    m_bDirty = dirty ? TRUE : FALSE;
    if (m_pPageSite != nullptr)
        m_pPageSite->OnStatusChange(dirty ? PROPPAGESTATUS_DIRTY : PROPPAGESTATUS_VALIDATE);
}

INT_PTR CMPEGTSSourceProperties::OnReceiveMessage(HWND hwnd, UINT uMsg, WPARAM wParam, LPARAM lParam)
{
    // The open-file dialog handles messages of its own: whoever holds the page may let it go before that comes back.
    const Microsoft::WRL::ComPtr<IUnknown> held(GetOwner());
    try {
        if (uMsg == WM_INITDIALOG) {
            fillPage(hwnd);
            SetDlgItemTextA(hwnd, IDC_VERSION_LINE, kVersionLine);
            return 1;
        }
        if (uMsg == WM_COMMAND)
            onCommand(hwnd, LOWORD(wParam), HIWORD(wParam));
    } catch (...) {
        // Without memory the page shows less; the window procedure is no place for an exception.
    }
    return CBasePropertyPage::OnReceiveMessage(hwnd, uMsg, wParam, lParam);
}

void CMPEGTSSourceProperties::onCommand(HWND hwnd, WORD control, WORD notification)
{
    if (control == IDC_BROWSE) {
        browse(hwnd);
        refreshStreams(hwnd);
    } else if (notification == CBN_SELCHANGE) {
        refreshStreams(hwnd);
        markPage(true);
    }
}

void CMPEGTSSourceProperties::fillPage(HWND hwnd)
{
    const auto tarnwell = m_pTarnwell;
    if (!tarnwell)
        return;
    if (SUCCEEDED(tarnwell->GetProgramCount(&m_programCount)))
        SetDlgItemInt(hwnd, IDC_PROGRAM_COUNT, m_programCount, FALSE);
    fillPrograms(hwnd, *tarnwell.Get());
    DWORD index = static_cast<DWORD>(m_selectedIndex);
    tarnwell->GetCurrentProgram(&index, &m_programNumber, &m_pmtPid);
    m_selectedIndex = static_cast<LONG>(index);
    sendToPrograms(hwnd, CB_SETCURSEL, index);
    fillStreamLines(hwnd, *tarnwell.Get());
}

/// Every program takes a line, also one without a name: places in the list are indexes of the filter.
void CMPEGTSSourceProperties::fillPrograms(HWND hwnd, ITarnwell& tarnwell)
{
    sendToPrograms(hwnd, CB_RESETCONTENT);
    for (DWORD index = 0; index < m_programCount; ++index) {
        WORD pmtPid = 0;
        WORD number = 0;
        BSTR name = nullptr;
        tarnwell.GetProgramInfo(index, &pmtPid, &number, &name);
        const std::string line = programLine(ansiOfBstr(name), pmtPid);
        sendToPrograms(hwnd, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(line.c_str()));
    }
}

/// A change in the list switches the program at once, before Apply.
void CMPEGTSSourceProperties::refreshStreams(HWND hwnd)
{
    const auto tarnwell = m_pTarnwell;
    if (!tarnwell || !IsWindow(hwnd))  // both may go while the user looks for a file
        return;
    const auto selection = static_cast<LONG>(sendToPrograms(hwnd, CB_GETCURSEL));
    if (selection == CB_ERR || selection == m_selectedIndex)
        return;
    m_selectedIndex = selection;
    tarnwell->GetProgramInfo(static_cast<DWORD>(selection), &m_pmtPid, &m_programNumber, nullptr);
    tarnwell->SelectProgramByNumber(m_pmtPid, m_programNumber);
    fillStreamLines(hwnd, *tarnwell.Get());
}

void CMPEGTSSourceProperties::fillStreamLines(HWND hwnd, ITarnwell& tarnwell)
{
    tarnwell.GetStreamCount(m_pmtPid, m_programNumber, &m_streamCount);
    int filled = 0;
    std::string text;
    for (DWORD index = 0; filled < kStreamLines && nextDescription(tarnwell, index, text); ++filled) {
        SetDlgItemTextA(hwnd, IDC_STREAM_1 + filled, text.c_str());
        ShowWindow(GetDlgItem(hwnd, IDC_STREAM_1 + filled), SW_SHOW);
    }
    for (int line = filled; line < kStreamLines; ++line)
        ShowWindow(GetDlgItem(hwnd, IDC_STREAM_1 + line), SW_HIDE);
}

/// The description of the first stream from `index` on that has one; `index` moves behind it.
bool CMPEGTSSourceProperties::nextDescription(ITarnwell& tarnwell, DWORD& index, std::string& text)
{
    while (index < m_streamCount) {
        WORD pid = 0;
        BSTR description = nullptr;
        if (tarnwell.GetStreamInfo(index++, m_pmtPid, m_programNumber, &pid, &description) == S_OK) {
            text = ansiOfBstr(description);
            return true;
        }
    }
    return false;
}

}  // namespace zarnow
