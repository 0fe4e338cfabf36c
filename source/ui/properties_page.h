/// @file
/// "TS Properties", the filter's property page: the programs, the streams of the chosen one, and another file to open.
///
/// It talks to the filter through ITarnwell and IFileSourceFilter only. Texts go through the ANSI code page.
#pragma once

#include <streams.h>
#include <wrl/client.h>

#include <array>
#include <string>

#include "filter/itarnwell.h"

namespace zarnow {

class CMPEGTSSourceProperties final : public CBasePropertyPage
{
public:
    DECLARE_IUNKNOWN

    /// The class factory's entry. @param phr  E_OUTOFMEMORY when the page could not be allocated
    static CUnknown* WINAPI CreateInstance(LPUNKNOWN pUnkOuter, HRESULT* phr);

    HRESULT OnConnect(IUnknown* pUnknown) override;
    HRESULT OnDisconnect() override;
    HRESULT OnActivate() override { return S_OK; }
    HRESULT OnDeactivate() override { return S_OK; }
    HRESULT OnApplyChanges() override;
    INT_PTR OnReceiveMessage(HWND hwnd, UINT uMsg, WPARAM wParam, LPARAM lParam) override;

private:
    CMPEGTSSourceProperties(LPUNKNOWN pUnkOuter, HRESULT* phr);

    void markPage(bool dirty);
    void onCommand(HWND hwnd, WORD control, WORD notification);
    void fillPage(HWND hwnd);
    void fillPrograms(HWND hwnd, ITarnwell& tarnwell);
    void refreshStreams(HWND hwnd);
    void fillStreamLines(HWND hwnd, ITarnwell& tarnwell);
    bool nextDescription(ITarnwell& tarnwell, DWORD& index, std::string& text);
    HRESULT browse(HWND hwnd);
    HRESULT loadFile(HWND hwnd);

    static constexpr std::size_t kFileNameSize = 260;

    // While connected. A selection may let others act, who disconnect the page: who selects holds a reference of its
    // own.
    Microsoft::WRL::ComPtr<ITarnwell> m_pTarnwell;
    std::array<char, kFileNameSize> m_fileName{};
    DWORD m_programCount = 0;
    LONG m_selectedIndex = 0;  // position of the chosen program in the list
    WORD m_programNumber = 0;  // of the chosen program
    WORD m_pmtPid = 0;
    DWORD m_streamCount = 0;
};

}  // namespace zarnow
