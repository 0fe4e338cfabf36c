// A page of the framework in the hands of a property frame, in whatever order it calls.

#include <streams.h>

#include "tests/windows/support/framework_test.h"
#include "tests/windows/page/page_fixture.h"

namespace zarnow::test {

namespace {

/// With the module's dialog and title. Works on any object that has IPropertyPageSite, for want of another interface.
class Page : public CBasePropertyPage
{
public:
    Page() : CBasePropertyPage(nullptr, nullptr, IDD_PROPERTIES, IDS_PAGE_TITLE) {}

    HRESULT OnConnect(IUnknown* object) override
    {
        return object->QueryInterface(IID_IPropertyPageSite, reinterpret_cast<void**>(site.ReleaseAndGetAddressOf()));
    }
    HRESULT OnDisconnect() override
    {
        site.Reset();
        return S_OK;
    }
    HRESULT OnActivate() override
    {
        visibleAtActivation = isVisible();
        return activation;
    }
    HRESULT OnDeactivate() override
    {
        ++deactivations;
        return S_OK;
    }
    HRESULT OnApplyChanges() override
    {
        ++applied;
        return application;
    }
    INT_PTR OnReceiveMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) override
    {
        messages += message == WM_INITDIALOG ? "i" : message == WM_COMMAND ? "c" : "";
        return CBasePropertyPage::OnReceiveMessage(hwnd, message, wParam, lParam);
    }

    void change() { m_bDirty = TRUE; }
    HWND window() const { return m_Dlg; }
    bool isVisible() const { return (GetWindowLongW(m_hwnd, GWL_STYLE) & WS_VISIBLE) != 0; }

    ComPtr<IPropertyPageSite> site;
    int applied = 0;
    int deactivations = 0;
    std::string messages;  ///< i: initialise, c: command
    bool visibleAtActivation = true;
    HRESULT application = S_OK;
    HRESULT activation = S_OK;
};

class PageContract : public FrameworkTest
{
protected:
    PageContract()
    {
        g_hInst = module_.handle();
        page_->NonDelegatingAddRef();
        page_->NonDelegatingQueryInterface(IID_IPropertyPage, reinterpret_cast<void**>(page.GetAddressOf()));
        page_->NonDelegatingRelease();
    }
    ~PageContract() override
    {
        page.Reset();
        EXPECT_EQ(1U, site.references) << "a destroyed page gives it back";
        g_hInst = nullptr;
    }
    HRESULT setObject(IUnknown* object) { return page->SetObjects(1, &object); }

    const Module module_;
    Page* const page_ = new Page;
    FakeSite site;
    HostWindow frame;
    ComPtr<IPropertyPage> page;
};

}  // namespace

TEST_F(PageContract, SiteAndObject)
{
    EXPECT_HRESULT(E_UNEXPECTED, page->SetPageSite(nullptr));
    EXPECT_HRESULT(S_OK, page->SetPageSite(&site));
    EXPECT_EQ(2U, site.references);
    EXPECT_HRESULT(E_UNEXPECTED, page->SetPageSite(&site));
    EXPECT_HRESULT(S_OK, page->SetPageSite(nullptr));
    EXPECT_EQ(1U, site.references);
    EXPECT_HRESULT(S_OK, page->SetPageSite(&site));

    IUnknown* objects[] = {&site, &site};
    EXPECT_HRESULT(E_UNEXPECTED, page->SetObjects(2, objects));
    EXPECT_HRESULT(E_POINTER, page->SetObjects(1, nullptr));
    EXPECT_HRESULT(E_POINTER, setObject(nullptr));
    EXPECT_HRESULT(E_NOINTERFACE, setObject(page.Get()));
    EXPECT_HRESULT(S_OK, setObject(&site));
    EXPECT_EQ(&site, page_->site.Get());
    EXPECT_HRESULT(S_OK, page->SetObjects(0, nullptr));
    EXPECT_EQ(2U, site.references);
    EXPECT_HRESULT(E_NOTIMPL, page->Help(L""));
}

TEST_F(PageContract, TitleAndSizeComeFromTheResources)
{
    wchar_t title[64] = L"";
    LoadStringW(g_hInst, IDS_PAGE_TITLE, title, static_cast<int>(std::size(title)));
    PROPPAGEINFO info{};
    ASSERT_HRESULT(S_OK, page->GetPageInfo(&info));
    EXPECT_STREQ(title, info.pszTitle);
    CoTaskMemFree(info.pszTitle);
    EXPECT_EQ(nullptr, info.pszDocString);
    EXPECT_EQ(nullptr, info.pszHelpFile);
    // 249 by 169 dialog units, of which one is a quarter and an eighth of the font's character.
    EXPECT_GT(info.size.cx, 249);
    EXPECT_GT(info.size.cy, 169);
    EXPECT_LT(info.size.cx, 1000);
    EXPECT_HRESULT(E_POINTER, page->GetPageInfo(nullptr));
}

TEST_F(PageContract, ActivationMakesTheDialogAndDeactivationDestroysIt)
{
    const RECT rect{5, 6, 305, 206};
    const auto activate = [&] { return page->Activate(frame.handle(), &rect, FALSE); };
    EXPECT_HRESULT(E_UNEXPECTED, activate()) << "no object yet";
    ASSERT_HRESULT(S_OK, setObject(&site));
    EXPECT_HRESULT(E_POINTER, page->Activate(frame.handle(), nullptr, FALSE));
    EXPECT_HRESULT(E_UNEXPECTED, page->Show(SW_SHOW));
    EXPECT_HRESULT(E_UNEXPECTED, page->Move(&rect));
    page_->activation = E_ABORT;
    EXPECT_HRESULT(E_ABORT, activate());
    EXPECT_EQ(nullptr, page_->window());
    page_->activation = S_OK;
    page_->messages.clear();
    ASSERT_HRESULT(S_OK, activate());
    EXPECT_FALSE(page_->visibleAtActivation) << "not shown before it is in its place";
    const HWND window = page_->window();
    EXPECT_EQ(frame.handle(), GetParent(window));
    EXPECT_HRESULT(E_UNEXPECTED, activate());
    SendMessageW(window, WM_COMMAND, MAKEWPARAM(IDC_PROGRAM_COUNT, EN_KILLFOCUS), 0);
    EXPECT_EQ('i', page_->messages.front());
    EXPECT_EQ('c', page_->messages.back());
    RECT place{};
    GetWindowRect(window, &place);
    EXPECT_EQ(300, place.right - place.left);
    EXPECT_EQ(200, place.bottom - place.top);
    EXPECT_HRESULT(S_OK, page->Show(SW_HIDE));
    EXPECT_FALSE(page_->isVisible());
    EXPECT_HRESULT(S_OK, page->Show(SW_SHOW));
    EXPECT_TRUE(page_->isVisible());
    EXPECT_HRESULT(E_INVALIDARG, page->Show(SW_MAXIMIZE));
    page_->deactivations = 0;
    EXPECT_HRESULT(S_OK, page->Deactivate());
    EXPECT_FALSE(IsWindow(window));
    EXPECT_EQ(1, page_->deactivations);
    EXPECT_HRESULT(E_UNEXPECTED, page->Deactivate());
    ASSERT_HRESULT(S_OK, activate()) << "and it can be shown again";
    const HWND last = page_->window();
    page.Reset();
    EXPECT_FALSE(IsWindow(last)) << "a destroyed page leaves no window";
}

TEST_F(PageContract, ChangesAreAppliedOnce)
{
    EXPECT_HRESULT(E_UNEXPECTED, page->Apply());
    ASSERT_HRESULT(S_OK, setObject(&site));
    EXPECT_HRESULT(E_UNEXPECTED, page->Apply()) << "no site yet";
    ASSERT_HRESULT(S_OK, page->SetPageSite(&site));
    EXPECT_HRESULT(S_FALSE, page->IsPageDirty());
    EXPECT_HRESULT(S_OK, page->Apply());
    EXPECT_EQ(0, page_->applied) << "nothing was changed";
    page_->change();
    page_->application = E_ABORT;
    EXPECT_HRESULT(E_ABORT, page->Apply());
    EXPECT_HRESULT(S_OK, page->IsPageDirty()) << "not applied: still changed";
    page_->application = S_OK;
    EXPECT_HRESULT(S_OK, page->Apply());
    EXPECT_HRESULT(S_FALSE, page->IsPageDirty());
    EXPECT_EQ(2, page_->applied);
}

}  // namespace zarnow::test
