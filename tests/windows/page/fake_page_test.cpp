// What the page shows and asks for, over an object that writes the questions down.

#include "tests/windows/page/fake_filter.h"

namespace zarnow::test {

namespace {

std::vector<FakeProgram> threePrograms()
{
    const std::vector<FakeStream> many = {{1, L"a"},    {2, nullptr}, {3, L"b"}, {4, L"c"},
                                          {5, nullptr}, {6, L"d"},    {7, L"e"}, {8, nullptr}};
    return {{0x100, 1, L"Program 1", {{0x1011, L"Video"}, {0x1100, L"Audio"}}},
            {0x1ABC, 2, L"Program 2", {{0x200, L"Only"}}},
            {0x1ABC, 65535, L"Program 65535", many}};
}

}  // namespace

TEST_F(FakePageTest, ShowsTheProgramsAndTheStreamsOfTheCurrentOne)
{
    filter.programs = threePrograms();
    filter.current = 1;
    open();
    EXPECT_EQ("3", text(IDC_PROGRAM_COUNT));
    EXPECT_EQ((Texts{"Program 1 (0x0100)", "Program 2 (0x1ABC)", "Program 65535 (0x1ABC)"}), programLines());
    EXPECT_EQ(1, selection());
    EXPECT_EQ(Texts{"Only"}, streamLines());
    EXPECT_EQ("Zarnow TS Source - Version: 3.0.122.0\n64-bit DirectShow source filter for MPEG transport streams",
              text(IDC_VERSION_LINE));
    EXPECT_EQ(Statuses{}, site.statuses);
    EXPECT_HRESULT(S_FALSE, page->IsPageDirty());
    EXPECT_EQ(2U, filter.references);
    close();
    EXPECT_EQ(1U, filter.references);
}

TEST_F(FakePageTest, StreamLines)
{
    const struct
    {
        const char* fault;
        std::vector<FakeStream> streams;
        Texts lines;
    } cases[] = {
        {"no stream leaves lines", {}, {}},
        {"one stream leaves others", {{1, L"a"}}, {"a"}},
        {"four streams", {{1, L"a"}, {2, L"b"}, {3, L"c"}, {4, L"d"}}, {"a", "b", "c", "d"}},
        {"a fifth stream", {{1, L"a"}, {2, L"b"}, {3, L"c"}, {4, L"d"}, {5, L"e"}}, {"a", "b", "c", "d"}},
        {"a stream without words takes a line", {{1, nullptr}, {2, L"b"}, {3, nullptr}, {4, L"d"}}, {"b", "d"}},
        {"a described stream behind the fourth is lost",
         {{1, nullptr}, {2, L"b"}, {3, nullptr}, {4, L"d"}, {5, L"e"}, {6, L"f"}, {7, L"g"}},
         {"b", "d", "e", "f"}},
        {"only streams without words", {{1, nullptr}, {2, nullptr}}, {}},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.fault);
        filter.programs = {{0x100, 1, L"Program 1", each.streams}};
        open();
        EXPECT_EQ(each.lines, streamLines());
        close();
    }
}

TEST_F(FakePageTest, AChoiceSwitchesTheProgramAtOnce)
{
    filter.programs = threePrograms();
    open();
    filter.calls.clear();
    choose(2);
    ASSERT_LE(3U, filter.calls.size());
    EXPECT_EQ((Texts{"GetProgramInfo", selectionCall(0x1ABC, 65535), "GetStreamCount"}),
              Texts(filter.calls.begin(), filter.calls.begin() + 3));
    EXPECT_EQ(Texts(6, "GetStreamInfo"), Texts(filter.calls.begin() + 3, filter.calls.end()));
    EXPECT_EQ((Texts{"a", "b", "c", "d"}), streamLines());
    EXPECT_EQ(Statuses{PROPPAGESTATUS_DIRTY}, site.statuses);
    EXPECT_HRESULT(S_OK, page->IsPageDirty());

    choose(1);  // fewer streams
    EXPECT_EQ(Texts{"Only"}, streamLines());

    filter.calls.clear();
    EXPECT_HRESULT(S_OK, page->Apply());
    EXPECT_EQ(Texts{selectionCall(0x1ABC, 2)}, filter.calls);
    EXPECT_EQ((Statuses{PROPPAGESTATUS_DIRTY, PROPPAGESTATUS_DIRTY, PROPPAGESTATUS_VALIDATE}), site.statuses);
    EXPECT_HRESULT(S_FALSE, page->IsPageDirty());
    EXPECT_HRESULT(S_OK, page->Apply());  // clean: nothing to do
    EXPECT_EQ(1U, filter.calls.size());
}

TEST_F(FakePageTest, WhatDoesNotChangeTheChoiceDoesNotReachTheFilter)
{
    filter.programs = threePrograms();
    filter.current = 2;
    open();
    filter.calls.clear();
    choose(2);   // the same
    choose(-1);  // none
    command(IDC_PROGRAM_COUNT, CBN_SELCHANGE);
    EXPECT_EQ(Statuses(3, PROPPAGESTATUS_DIRTY), site.statuses);
    command(IDC_PROGRAMS, CBN_DROPDOWN);
    command(IDC_PROGRAM_COUNT, EN_CHANGE);
    EXPECT_EQ(3U, site.statuses.size()) << "another notification marks the page";
    EXPECT_EQ(Texts{}, filter.calls);
    EXPECT_EQ((Texts{"a", "b", "c", "d"}), streamLines());
}

TEST_F(FakePageTest, TextsGoThroughTheCodePage)
{
    const wchar_t* const umlauts = L"Fähre Süd";
    const std::string expected = inAnsi(umlauts);
    if (expected.empty())
        GTEST_SKIP() << "the code page does not have the characters";
    filter.programs = {{0x100, 1, umlauts, {{1, umlauts}}}};
    open();
    EXPECT_EQ(Texts{expected + " (0x0100)"}, programLines());
    EXPECT_EQ(Texts{expected}, streamLines());
}

TEST_F(FakePageTest, FailuresOfTheFilterAreNotShown)
{
    filter.programs = threePrograms();
    filter.programs[0].name = nullptr;
    filter.current = 1;
    open();
    ASSERT_EQ(3U, programLines().size());  // places in the list are those of the filter
    EXPECT_EQ("Program 2 (0x1ABC)", programLines()[1]);
    EXPECT_EQ(1, selection());
}

TEST_F(FakePageTest, WithoutACountTheControlsStayAsTheyWere)
{
    filter.countFails = true;
    filter.current = -1;
    open();
    EXPECT_EQ("", text(IDC_PROGRAM_COUNT));
    EXPECT_EQ(Texts{}, programLines());
    EXPECT_EQ(CB_ERR, selection());
    EXPECT_EQ(Texts{}, streamLines());
}

TEST_F(FakePageTest, OnlyAFilterWithTheInterfaceIsTaken)
{
    filter.programs = threePrograms();
    FakeFilter second;
    FakeSite stranger;
    IUnknown* objects[] = {&static_cast<ITarnwell&>(filter), &static_cast<ITarnwell&>(second)};
    IUnknown* strange = &stranger;
    const RECT place = {0, 0, 100, 100};
    EXPECT_HRESULT(E_NOINTERFACE, page->SetObjects(1, &strange));
    EXPECT_HRESULT(E_UNEXPECTED, page->Activate(host.handle(), &place, FALSE));
    EXPECT_HRESULT(S_OK, page->SetObjects(1, &objects[0]));
    EXPECT_HRESULT(S_OK, page->SetObjects(1, &objects[1]));
    EXPECT_EQ(1U, filter.references) << "the first one is still held";
    EXPECT_EQ(2U, second.references);
    EXPECT_HRESULT(E_NOINTERFACE, page->SetObjects(1, &strange));
    EXPECT_EQ(1U, second.references);
    EXPECT_HRESULT(S_OK, page->SetObjects(0, nullptr));
}

}  // namespace zarnow::test
