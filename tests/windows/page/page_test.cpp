// The page over the filter: what it shows, what a choice does, and what it owes a property frame.

#include "tests/windows/page/page_fixture.h"

namespace zarnow::test {

TEST_F(PageTest, ShowsTheProgramsAndSwitchesThemAtOnce)
{
    open();
    EXPECT_EQ("0", text(IDC_PROGRAM_COUNT));
    EXPECT_EQ(Texts{}, programLines());
    EXPECT_EQ(Texts{}, streamLines());
    close();

    ASSERT_HRESULT(S_OK, load(kTwoProgramsSample));
    open();
    EXPECT_EQ("2", text(IDC_PROGRAM_COUNT));
    EXPECT_EQ((Texts{"Program 1 (0x1000)", "Program 2 (0x1001)"}), programLines());
    EXPECT_EQ(0, selection());
    EXPECT_EQ((Texts{"AVC (H.264) Video (0x0100)", "MPEG2-ADTS Audio (0x0101)"}), streamLines());
    EXPECT_EQ("Zarnow TS Source - Version: 3.0.122.0\n64-bit DirectShow source filter for MPEG transport streams",
              text(IDC_VERSION_LINE));
    EXPECT_EQ(Statuses{}, site.statuses);
    EXPECT_HRESULT(S_FALSE, page->IsPageDirty());

    frame.choose(1);
    EXPECT_EQ(1U, currentProgram());
    EXPECT_EQ((Texts{"MPEG2 Video (0x0102)", "AC3 (0x0103)"}), streamLines());
    EXPECT_EQ(Statuses{PROPPAGESTATUS_DIRTY}, site.statuses);
    EXPECT_HRESULT(S_OK, page->IsPageDirty());

    ASSERT_HRESULT(S_OK, tarnwell->SelectProgram(0));  // somebody else's choice
    EXPECT_HRESULT(S_OK, page->Apply());
    EXPECT_EQ(1U, currentProgram());
    EXPECT_EQ((Statuses{PROPPAGESTATUS_DIRTY, PROPPAGESTATUS_VALIDATE}), site.statuses);
    EXPECT_HRESULT(S_FALSE, page->IsPageDirty());
    ASSERT_HRESULT(S_OK, tarnwell->SelectProgram(0));
    EXPECT_HRESULT(S_OK, page->Apply());
    EXPECT_EQ(0U, currentProgram()) << "applied without a change";
    ASSERT_HRESULT(S_OK, tarnwell->SelectProgram(1));
    close();
    open();
    EXPECT_EQ(1, selection());
}

TEST_F(PageTest, WhatDoesNotChangeTheChoiceDoesNotReachTheFilter)
{
    ASSERT_HRESULT(S_OK, load(kTwoProgramsSample));
    open();
    frame.choose(0);   // the same
    frame.choose(-1);  // none
    frame.command(IDC_PROGRAM_COUNT, CBN_SELCHANGE);
    EXPECT_EQ(Statuses(3, PROPPAGESTATUS_DIRTY), site.statuses);
    frame.command(IDC_PROGRAMS, CBN_DROPDOWN);
    frame.command(IDC_PROGRAM_COUNT, EN_CHANGE);
    EXPECT_EQ(3U, site.statuses.size()) << "another notification marks the page";
    EXPECT_HRESULT(S_FALSE, query<IPersistStream>(filter.Get())->IsDirty()) << "a program was selected";
    EXPECT_EQ((Texts{"AVC (H.264) Video (0x0100)", "MPEG2-ADTS Audio (0x0101)"}), streamLines());
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
        std::vector<int> lines;  // indexes of the streams shown
    } cases[] = {
        {"no stream leaves lines", {}, {}},
        {"one stream leaves others", {kAac}, {0}},
        {"a fifth stream", {kAac, kAac, kAac, kAac, kAac}, {0, 1, 2, 3}},
        {"a stream without words takes a line", {kData, kAac, kData, kAac}, {1, 3}},
        {"a described stream behind the fourth is lost", {kData, kAac, kData, kAac, kAac, kAac, kAac}, {1, 3, 4, 5}},
        {"only streams without words", {kData, kData}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        std::vector<Stream> streams;
        for (const std::uint8_t type : c.types)
            streams.push_back({type, static_cast<std::uint16_t>(0x200 + streams.size())});
        const TemporaryFile file(join({patPacket({{1, 0x100}}), pmtPacket(0x100, 1, streams), nullPackets(200)}));
        load(file.path().wstring());
        Texts expected;
        for (const int index : c.lines)
            expected.push_back("MPEG2-ADTS Audio (0x020" + std::to_string(index) + ")");
        open();
        EXPECT_EQ(expected, streamLines());
        close();
        load(kMpeg2Sample);  // lets the file go
    }
}

TEST_F(PageTest, SiteAndObject)
{
    EXPECT_HRESULT(E_UNEXPECTED, page->SetPageSite(nullptr));
    EXPECT_HRESULT(S_OK, page->SetPageSite(&site));
    EXPECT_HRESULT(E_UNEXPECTED, page->SetPageSite(&site));
    EXPECT_EQ(2U, site.references);
    EXPECT_HRESULT(S_OK, page->SetPageSite(nullptr));
    EXPECT_EQ(1U, site.references);

    ComPtr<IBaseFilter> first;
    ASSERT_HRESULT(S_OK, module.create(CLSID_ZarnowTSSource, IID_PPV_ARGS(&first)));
    IUnknown* objects[] = {first.Get(), filter.Get()};
    IUnknown* stranger = &site;
    IUnknown* none = nullptr;
    EXPECT_HRESULT(E_UNEXPECTED, page->SetObjects(2, objects));
    EXPECT_HRESULT(E_POINTER, page->SetObjects(1, nullptr));
    EXPECT_HRESULT(E_POINTER, page->SetObjects(1, &none));
    EXPECT_HRESULT(E_NOINTERFACE, page->SetObjects(1, &stranger));
    EXPECT_HRESULT(S_OK, page->SetObjects(1, &objects[0]));
    EXPECT_HRESULT(S_OK, page->SetObjects(1, &objects[1]));
    EXPECT_EQ(0U, first.Reset()) << "the first one is still held";
    EXPECT_HRESULT(E_UNEXPECTED, page->Apply()) << "no site";
    EXPECT_HRESULT(E_NOINTERFACE, page->SetObjects(1, &stranger));
    const RECT place = {};
    EXPECT_HRESULT(E_UNEXPECTED, page->Activate(frame.window(), &place, FALSE)) << "no object any more";
    EXPECT_HRESULT(S_OK, page->SetPageSite(&site));
    EXPECT_HRESULT(E_UNEXPECTED, page->Apply()) << "no object any more";
    EXPECT_HRESULT(S_OK, page->SetObjects(0, nullptr));
    EXPECT_HRESULT(E_NOTIMPL, page->Help(L""));
    EXPECT_HRESULT(E_POINTER, page->GetPageInfo(nullptr));
}

TEST_F(PageTest, ActivationMakesTheDialogAndDeactivationDestroysIt)
{
    const RECT rect = {5, 6, 305, 206};
    IUnknown* object = filter.Get();
    EXPECT_HRESULT(S_OK, page->SetObjects(1, &object));
    EXPECT_HRESULT(E_POINTER, page->Activate(frame.window(), nullptr, FALSE));
    EXPECT_HRESULT(E_UNEXPECTED, page->Show(SW_SHOW));
    EXPECT_HRESULT(E_UNEXPECTED, page->Move(&rect));
    EXPECT_HRESULT(E_UNEXPECTED, page->Deactivate());
    ASSERT_HRESULT(S_OK, page->Activate(frame.window(), &rect, FALSE));
    EXPECT_HRESULT(E_UNEXPECTED, page->Activate(frame.window(), &rect, FALSE));
    EXPECT_HRESULT(E_POINTER, page->Move(nullptr));
    const HWND dialog = frame.dialog();
    RECT place = {};
    GetWindowRect(dialog, &place);
    MapWindowPoints(nullptr, frame.window(), reinterpret_cast<POINT*>(&place), 2);
    EXPECT_TRUE(EqualRect(&rect, &place));
    EXPECT_TRUE(IsWindowVisible(dialog));
    EXPECT_HRESULT(E_INVALIDARG, page->Show(SW_MAXIMIZE));
    EXPECT_HRESULT(S_OK, page->Show(SW_HIDE));
    EXPECT_FALSE(IsWindowVisible(dialog));
    EXPECT_HRESULT(S_OK, page->Show(SW_SHOW));
    EXPECT_TRUE(IsWindowVisible(dialog));
    EXPECT_HRESULT(S_OK, page->Deactivate());
    EXPECT_FALSE(IsWindow(dialog));
    ASSERT_HRESULT(S_OK, page->Activate(frame.window(), &rect, FALSE)) << "and it can be shown again";
    EXPECT_HRESULT(S_OK, page->SetPageSite(&site));
    EXPECT_EQ(0U, page.Reset());
    EXPECT_EQ(nullptr, frame.dialog()) << "a destroyed page leaves no window";
    EXPECT_EQ(1U, site.references) << "nor keeps its site";
}

}  // namespace zarnow::test
