// Property pages in the hands of a property frame.

#include "support.h"

#include "page_resources.h"

namespace {

struct Site : CUnknown, IPropertyPageSite
{
    DECLARE_IUNKNOWN
    Site() : CUnknown(nullptr, nullptr) { NonDelegatingAddRef(); }
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override
    {
        if (riid == IID_IPropertyPageSite)
            return GetInterface(static_cast<IPropertyPageSite*>(this), ppv);
        return CUnknown::NonDelegatingQueryInterface(riid, ppv);
    }
    STDMETHODIMP OnStatusChange(DWORD) override { return S_OK; }
    STDMETHODIMP GetLocaleID(LCID*) override { return E_NOTIMPL; }
    STDMETHODIMP GetPageContainer(IUnknown**) override { return E_NOTIMPL; }
    STDMETHODIMP TranslateAccelerator(MSG*) override { return E_NOTIMPL; }
};

/// Works on any object that has IPropertyPageSite, for want of another interface at hand.
class Page : public CBasePropertyPage
{
public:
    Page() : CBasePropertyPage(NAME("page"), nullptr, IDD_TEST_PAGE, IDS_TEST_TITLE) {}

    HRESULT OnConnect(IUnknown* object) override
    {
        return object->QueryInterface(IID_IPropertyPageSite, m_object.putVoid());
    }
    HRESULT OnDisconnect() override
    {
        m_object.reset();
        return S_OK;
    }
    HRESULT OnActivate() override
    {
        visibleAtActivation = (GetWindowLongW(m_hwnd, GWL_STYLE) & WS_VISIBLE) != 0;
        return activateAnswer;
    }
    HRESULT OnDeactivate() override
    {
        ++deactivations;
        return S_OK;
    }
    HRESULT OnApplyChanges() override
    {
        ++applied;
        return applyAnswer;
    }
    INT_PTR OnReceiveMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) override
    {
        if (message == WM_INITDIALOG)
            SetDlgItemTextA(hwnd, IDC_TEST_EDIT, "filled");
        if (message == WM_COMMAND && LOWORD(wParam) == IDC_TEST_EDIT)
            ++commands;
        return CBasePropertyPage::OnReceiveMessage(hwnd, message, wParam, lParam);
    }

    void change() { m_bDirty = TRUE; }
    HWND window() const { return m_Dlg; }
    bool connected() const { return static_cast<bool>(m_object); }

    int applied = 0;
    int commands = 0;
    int deactivations = 0;
    bool visibleAtActivation = true;
    HRESULT applyAnswer = S_OK;
    HRESULT activateAnswer = S_OK;

private:
    ComPtr<IPropertyPageSite> m_object;
};

class PropertyPage : public FrameworkTest
{
protected:
    PropertyPage()
    {
        m_page = new Page;
        page = take<IPropertyPage>(m_page, IID_IPropertyPage);
    }
    HRESULT setObject(IUnknown* object) { return page->SetObjects(1, &object); }

    Site site;
    Page* m_page = nullptr;
    ComPtr<IPropertyPage> page;
};

TEST_F(PropertyPage, TheSiteIsSetOnceAndTakenAwayOnce)
{
    EXPECT_HRESULT(E_UNEXPECTED, page->SetPageSite(nullptr));
    EXPECT_HRESULT(S_OK, page->SetPageSite(&site));
    EXPECT_EQ(2u, references(static_cast<IPropertyPageSite*>(&site)));
    EXPECT_HRESULT(E_UNEXPECTED, page->SetPageSite(&site));
    EXPECT_HRESULT(S_OK, page->SetPageSite(nullptr));
    EXPECT_EQ(1u, references(static_cast<IPropertyPageSite*>(&site)));
    EXPECT_HRESULT(S_OK, page->SetPageSite(&site));
    page.reset();
    EXPECT_EQ(1u, references(static_cast<IPropertyPageSite*>(&site))) << "a destroyed page gives it back";
}

TEST_F(PropertyPage, OneObjectOfTheRightKindIsTaken)
{
    auto* const object = static_cast<IPropertyPageSite*>(&site);
    IUnknown* objects[] = {object, object};
    EXPECT_HRESULT(E_UNEXPECTED, page->SetObjects(2, objects));
    EXPECT_HRESULT(E_POINTER, page->SetObjects(1, nullptr));
    EXPECT_HRESULT(E_POINTER, setObject(nullptr));
    EXPECT_HRESULT(E_NOINTERFACE, setObject(page.get()));
    EXPECT_HRESULT(S_OK, setObject(object));
    EXPECT_TRUE(m_page->connected());
    EXPECT_HRESULT(S_OK, page->SetObjects(0, nullptr));
    EXPECT_EQ(1u, references(object));
}

TEST_F(PropertyPage, TitleAndSizeComeFromTheResources)
{
    PROPPAGEINFO info{};
    ASSERT_HRESULT(S_OK, page->GetPageInfo(&info));
    EXPECT_STREQ(L"Title of the page", info.pszTitle);
    CoTaskMemFree(info.pszTitle);
    EXPECT_EQ(nullptr, info.pszDocString);
    // 200 by 100 dialog units, of which one is a quarter and an eighth of the font's character.
    EXPECT_GT(info.size.cx, 200);
    EXPECT_GT(info.size.cy, 100);
    EXPECT_LT(info.size.cx, 800);
    EXPECT_HRESULT(E_POINTER, page->GetPageInfo(nullptr));
}

TEST_F(PropertyPage, ActivationMakesTheDialogAndDeactivationDestroysIt)
{
    const HWND frame =
        CreateWindowExW(0, L"STATIC", L"", WS_OVERLAPPEDWINDOW, 0, 0, 500, 500, nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(nullptr, frame) << "under Wine without a display, set HKCU\\Software\\Wine\\Drivers Graphics to null";
    const RECT rect{5, 6, 305, 206};
    EXPECT_HRESULT(E_UNEXPECTED, page->Activate(frame, &rect, FALSE)) << "no object yet";
    ASSERT_HRESULT(S_OK, setObject(static_cast<IPropertyPageSite*>(&site)));
    EXPECT_HRESULT(E_POINTER, page->Activate(frame, nullptr, FALSE));
    EXPECT_HRESULT(E_UNEXPECTED, page->Show(SW_SHOW));
    EXPECT_HRESULT(E_UNEXPECTED, page->Move(&rect));
    m_page->activateAnswer = E_ABORT;
    EXPECT_HRESULT(E_ABORT, page->Activate(frame, &rect, FALSE));
    EXPECT_EQ(nullptr, m_page->window());
    m_page->activateAnswer = S_OK;
    ASSERT_HRESULT(S_OK, page->Activate(frame, &rect, FALSE));
    EXPECT_FALSE(m_page->visibleAtActivation) << "not shown before it is in its place";
    EXPECT_EQ(frame, GetParent(m_page->window()));
    EXPECT_HRESULT(E_UNEXPECTED, page->Activate(frame, &rect, FALSE));
    char text[16] = "";
    GetDlgItemTextA(m_page->window(), IDC_TEST_EDIT, text, sizeof text);
    EXPECT_STREQ("filled", text);
    SendMessageW(m_page->window(), WM_COMMAND, MAKEWPARAM(IDC_TEST_EDIT, EN_CHANGE), 0);
    EXPECT_GE(m_page->commands, 1);
    RECT place{};
    GetWindowRect(m_page->window(), &place);
    EXPECT_EQ(300, place.right - place.left);
    EXPECT_EQ(200, place.bottom - place.top);
    EXPECT_HRESULT(S_OK, page->Show(SW_HIDE));
    EXPECT_FALSE(GetWindowLongW(m_page->window(), GWL_STYLE) & WS_VISIBLE);
    EXPECT_HRESULT(S_OK, page->Show(SW_SHOW));
    EXPECT_TRUE(GetWindowLongW(m_page->window(), GWL_STYLE) & WS_VISIBLE);
    EXPECT_HRESULT(E_INVALIDARG, page->Show(SW_MAXIMIZE));
    const HWND window = m_page->window();
    EXPECT_HRESULT(S_OK, page->Deactivate());
    EXPECT_FALSE(IsWindow(window));
    EXPECT_EQ(1, m_page->deactivations);
    EXPECT_HRESULT(E_UNEXPECTED, page->Deactivate());
    ASSERT_HRESULT(S_OK, page->Activate(frame, &rect, FALSE)) << "and it can be shown again";
    const HWND last = m_page->window();
    page.reset();
    EXPECT_FALSE(IsWindow(last)) << "a destroyed page leaves no window";
    DestroyWindow(frame);
}

TEST_F(PropertyPage, ChangesAreAppliedOnce)
{
    EXPECT_HRESULT(E_UNEXPECTED, page->Apply());
    ASSERT_HRESULT(S_OK, setObject(static_cast<IPropertyPageSite*>(&site)));
    EXPECT_HRESULT(E_UNEXPECTED, page->Apply()) << "no site yet";
    ASSERT_HRESULT(S_OK, page->SetPageSite(&site));
    EXPECT_HRESULT(S_FALSE, page->IsPageDirty());
    EXPECT_HRESULT(S_OK, page->Apply());
    EXPECT_EQ(0, m_page->applied) << "nothing was changed";
    m_page->change();
    EXPECT_HRESULT(S_OK, page->IsPageDirty());
    m_page->applyAnswer = E_ABORT;
    EXPECT_HRESULT(E_ABORT, page->Apply());
    EXPECT_HRESULT(S_OK, page->IsPageDirty()) << "not applied: still changed";
    m_page->applyAnswer = S_OK;
    EXPECT_HRESULT(S_OK, page->Apply());
    EXPECT_HRESULT(S_FALSE, page->IsPageDirty());
    EXPECT_EQ(2, m_page->applied);
    EXPECT_HRESULT(E_NOTIMPL, page->Help(L""));
    page->SetPageSite(nullptr);
}

}  // namespace
