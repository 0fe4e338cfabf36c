// The page over the filter: what it shows, what a choice does, and what it owes a property frame.

#include "tests/windows/page/page_fixture.h"

namespace zarnow::test {

TEST_F(PageTest, ShowsTheProgramsAndSwitchesThemAtOnce)
{
    open();
    EXPECT_EQ("0: ", shown());
    close();

    ASSERT_HRESULT(S_OK, load(kTwoProgramsSample));
    open();
    EXPECT_EQ(kFirstProgram, shown());
    EXPECT_EQ("Zarnow TS Source - Version: 3.0.122.0\n64-bit DirectShow source filter for MPEG transport streams",
              text(IDC_VERSION_LINE));
    EXPECT_EQ("", site.statuses);
    frame.choose(0);   // the same
    frame.choose(-1);  // none
    frame.command(IDC_PROGRAM_COUNT, CBN_SELCHANGE);
    EXPECT_EQ("DDD", site.statuses);
    frame.command(IDC_PROGRAMS, CBN_DROPDOWN);
    frame.command(IDC_PROGRAM_COUNT, EN_CHANGE);
    EXPECT_EQ("DDD", std::exchange(site.statuses, "")) << "another notification marks the page";
    EXPECT_HRESULT(S_FALSE, query<IPersistStream>(filter.Get())->IsDirty()) << "a program was selected";

    frame.choose(1);
    EXPECT_EQ(1U, currentProgram());
    EXPECT_EQ(kSecondProgram + " (changed)", shown());
    EXPECT_EQ("D", site.statuses);
    ASSERT_HRESULT(S_OK, tarnwell->SelectProgram(0));  // somebody else's choice
    EXPECT_HRESULT(S_OK, page->Apply());
    EXPECT_EQ(1U, currentProgram());
    EXPECT_EQ(kSecondProgram, shown());
    EXPECT_EQ("DV", site.statuses);
    ASSERT_HRESULT(S_OK, tarnwell->SelectProgram(0));
    EXPECT_HRESULT(S_OK, page->Apply());
    EXPECT_EQ(0U, currentProgram()) << "applied without a change";
    ASSERT_HRESULT(S_OK, tarnwell->SelectProgram(1));
    close();
    open();
    EXPECT_EQ(kSecondProgram, shown());
}

/// As when the filter downstream waits with a message loop of its own, and the user closes the frame.
TEST_F(PageTest, TheObjectMayGoWhileItSelectsAProgram)
{
    ASSERT_HRESULT(S_OK, load(kTwoProgramsSample));
    SinkFilter sink;
    ASSERT_HRESULT(S_OK, connect(sink));
    open();
    sink.onConfiguration = [&] { EXPECT_HRESULT(S_OK, page->SetObjects(0, nullptr)); };
    frame.choose(1);
    EXPECT_EQ(1U, currentProgram());
    disconnect(sink);
}

TEST_F(PageTest, StreamLines)
{
    constexpr std::uint8_t kAac = 0x0F;   // described by its type alone
    constexpr std::uint8_t kData = 0x05;  // not described at all
    const struct
    {
        const char* fault;
        std::vector<std::uint8_t> types;
        std::string shown;  // last digits of PIDs
    } cases[] = {
        {"one stream leaves others", {kAac}, "0"},
        {"a fifth stream", {kAac, kAac, kAac, kAac, kAac}, "0123"},
        {"a stream without words takes a line", {kData, kAac, kData, kAac, kAac, kAac, kAac}, "1345"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        std::vector<Stream> streams;
        for (const std::uint8_t type : c.types)
            streams.push_back({type, static_cast<std::uint16_t>(0x200 + streams.size())});
        const TemporaryFile file(join({patPacket({{1, 0x1AB}}), pmtPacket(0x1AB, 1, streams), nullPackets(200)}));
        load(file.path().wstring());
        std::string expected = "1: >Program 1 (0x01AB)";
        for (const char digit : c.shown)
            expected = expected + (digit == c.shown[0] ? ": " : ", ") + "MPEG2-ADTS Audio (0x020" + digit + ")";
        open();
        EXPECT_EQ(expected, shown());
        close();
        load(kMpeg2Sample);  // lets the file go
    }
}

TEST_F(PageTest, WantsASiteAndAnObject)
{
    const RECT rect = {5, 6, 305, 206};
    ComPtr<IBaseFilter> first;
    ASSERT_HRESULT(S_OK, module.create(CLSID_ZarnowTSSource, IID_PPV_ARGS(&first)));
    IUnknown* objects[] = {first.Get(), filter.Get()};
    IUnknown* stranger = &site;
    IUnknown* none = nullptr;
    for (const HRESULT result :
         {page->SetPageSite(nullptr), page->SetObjects(2, objects), page->Apply(),
          page->Activate(frame.window(), &rect, FALSE), page->Show(SW_SHOW), page->Move(&rect), page->Deactivate()})
        EXPECT_HRESULT(E_UNEXPECTED, result);
    for (const HRESULT result : {page->SetObjects(1, nullptr), page->SetObjects(1, &none), page->Move(nullptr),
                                 page->Activate(frame.window(), nullptr, FALSE), page->GetPageInfo(nullptr)})
        EXPECT_HRESULT(E_POINTER, result);
    EXPECT_HRESULT(S_OK, page->SetObjects(1, &objects[0]));
    EXPECT_HRESULT(S_OK, page->SetObjects(1, &objects[1]));
    EXPECT_EQ(0U, first.Reset()) << "the first one is still held";
    EXPECT_HRESULT(E_UNEXPECTED, page->Apply()) << "no site";
    EXPECT_HRESULT(S_OK, page->SetPageSite(&site));
    EXPECT_HRESULT(E_UNEXPECTED, page->SetPageSite(&site));
    EXPECT_HRESULT(E_NOINTERFACE, page->SetObjects(1, &stranger));
    EXPECT_HRESULT(E_UNEXPECTED, page->Activate(frame.window(), &rect, FALSE)) << "no object any more";
    EXPECT_HRESULT(E_UNEXPECTED, page->Apply()) << "no object any more";
    EXPECT_HRESULT(S_OK, page->SetPageSite(nullptr));
    EXPECT_EQ(1U, site.references);
}

TEST_F(PageTest, ActivationMakesTheDialogAndDeactivationDestroysIt)
{
    const RECT rect = {5, 6, 305, 206};
    IUnknown* object = filter.Get();
    EXPECT_HRESULT(S_OK, page->SetObjects(1, &object));
    ASSERT_HRESULT(S_OK, page->Activate(frame.window(), &rect, FALSE));
    EXPECT_HRESULT(E_UNEXPECTED, page->Activate(frame.window(), &rect, FALSE));
    const HWND dialog = frame.dialog();
    RECT place = {};
    GetWindowRect(dialog, &place);
    MapWindowPoints(nullptr, frame.window(), reinterpret_cast<POINT*>(&place), 2);
    EXPECT_TRUE(EqualRect(&rect, &place));
    EXPECT_TRUE(IsWindowVisible(dialog));
    EXPECT_HRESULT(E_INVALIDARG, page->Show(SW_MAXIMIZE));
    EXPECT_HRESULT(S_OK, page->Show(SW_HIDE));
    EXPECT_FALSE(IsWindowVisible(dialog));

    RECT size = {0, 0, 249, 169};
    MapDialogRect(dialog, &size);
    PROPPAGEINFO info = {};
    ASSERT_HRESULT(S_OK, page->GetPageInfo(&info));
    EXPECT_EQ(size.right, info.size.cx);
    EXPECT_EQ(size.bottom, info.size.cy);
    EXPECT_STREQ(L"Aditional Settings", info.pszTitle);
    CoTaskMemFree(info.pszTitle);

    EXPECT_HRESULT(S_OK, page->Deactivate());
    EXPECT_FALSE(IsWindow(dialog));
    ASSERT_HRESULT(S_OK, page->Activate(frame.window(), &rect, FALSE)) << "and it can be shown again";
    EXPECT_HRESULT(S_OK, page->SetPageSite(&site));
    EXPECT_EQ(0U, page.Reset());
    EXPECT_EQ(nullptr, frame.dialog()) << "a destroyed page leaves no window";
    EXPECT_EQ(1U, site.references) << "nor keeps its site";
}

}  // namespace zarnow::test
