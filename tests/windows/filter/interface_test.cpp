// What the filter and its pin are asked by applications: identity, IMediaPosition, ITarnwell, pages.

#include "tests/windows/support/filter_fixture.h"

namespace zarnow::test {

namespace {

std::wstring taken(BSTR text)
{
    std::wstring result = text != nullptr ? text : L"(null)";
    SysFreeString(text);
    return result;
}

}  // namespace

TEST_F(FilterTest, TheFiltersInterfacesArePassedOnToThePin)
{
    for (const IID& iid : {IID_ITarnwell, IID_IFileSourceFilter, IID_IMediaPosition})
        EXPECT_EQ(query<IUnknown>(filter.Get(), iid).Get(), query<IUnknown>(pin.Get(), iid).Get());
    const ComPtr<IUnknown> identity = query<IUnknown>(filter.Get());
    for (const IID& iid : {IID_IPersistStream, IID_ISpecifyPropertyPages, IID_IMediaFilter, IID_IAMovieSetup})
        EXPECT_EQ(identity.Get(), query<IUnknown>(query<IUnknown>(filter.Get(), iid).Get(), IID_IUnknown).Get());
    ComPtr<IUnknown> none;
    EXPECT_HRESULT(E_NOINTERFACE, filter->QueryInterface(IID_IMediaSeeking, &none));

    CLSID clsid = {};
    EXPECT_HRESULT(S_OK, filter->GetClassID(&clsid));
    EXPECT_EQ(CLSID_ZarnowTSSource, clsid);
    CAUUID pages = {};
    ASSERT_HRESULT(S_OK, query<ISpecifyPropertyPages>(filter.Get())->GetPages(&pages));
    ASSERT_EQ(1U, pages.cElems);
    EXPECT_EQ(CLSID_ZarnowTSProperties, pages.pElems[0]);
    CoTaskMemFree(pages.pElems);
}

TEST_F(FilterTest, MissingArguments)
{
    DWORD index = 0;
    WORD number = 0;
    BSTR text = nullptr;
    const std::pair<const char*, std::vector<HRESULT>> interfaces[] = {
        {"IMediaPosition",
         {position->get_Duration(nullptr), position->get_CurrentPosition(nullptr), position->get_StopTime(nullptr),
          position->get_PrerollTime(nullptr), position->get_Rate(nullptr), position->CanSeekForward(nullptr),
          position->CanSeekBackward(nullptr), position->GetTypeInfoCount(nullptr),
          position->GetTypeInfo(0, LOCALE_USER_DEFAULT, nullptr)}},
        {"ITarnwell",
         {tarnwell->GetBufferSize(nullptr), tarnwell->GetProgramCount(nullptr),
          tarnwell->GetCurrentProgram(&index, nullptr, &number), tarnwell->GetCurrentProgram(&index, &number, nullptr),
          tarnwell->GetProgramInfo(0, nullptr, &number, nullptr), tarnwell->GetProgramInfo(0, &number, nullptr, &text),
          tarnwell->GetStreamCount(0, 0, nullptr), tarnwell->GetStreamInfo(0, 0, 0, nullptr, &text),
          tarnwell->GetStreamInfo(0, 0, 0, &number, nullptr), tarnwell->GetVideoInfo(nullptr)}},
        {"others",
         {source->Load(nullptr, nullptr), source->GetCurFile(nullptr, nullptr),
          filter->QueryInterface(IID_IUnknown, nullptr),
          query<ISpecifyPropertyPages>(filter.Get())->GetPages(nullptr)}},
    };
    for (const auto& [name, results] : interfaces)
        for (const HRESULT& result : results)
            EXPECT_HRESULT(E_POINTER, result) << name << ", call " << &result - results.data() + 1;
}

TEST_F(FilterTest, PropertiesAreFoundByName)
{
    ASSERT_HRESULT(S_OK, load(kMpeg2Sample));
    const auto idOf = [&](std::wstring name, HRESULT expected) {
        LPOLESTR names = name.data();
        DISPID id = 0;
        EXPECT_HRESULT(expected, position->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id));
        return id;
    };
    const auto invoke = [&](const wchar_t* name, REFIID iid, WORD flags, DISPPARAMS params, VARIANT* value) {
        return position->Invoke(idOf(name, S_OK), iid, LOCALE_USER_DEFAULT, flags, &params, value, nullptr, nullptr);
    };
    idOf(L"NoSuchMember", DISP_E_UNKNOWNNAME);
    VARIANT value = {};
    EXPECT_HRESULT(DISP_E_UNKNOWNINTERFACE, invoke(L"Duration", IID_IDispatch, DISPATCH_PROPERTYGET, {}, &value));
    ASSERT_HRESULT(S_OK, invoke(L"Duration", IID_NULL, DISPATCH_PROPERTYGET, {}, &value));
    EXPECT_EQ(VT_R8, value.vt);
    EXPECT_DOUBLE_EQ(2.92, value.dblVal);
    DISPID put = DISPID_PROPERTYPUT;
    EXPECT_HRESULT(S_OK, invoke(L"Rate", IID_NULL, DISPATCH_PROPERTYPUT, {&value, &put, 1, 1}, nullptr));
    double rate = 0.0;
    EXPECT_HRESULT(S_OK, position->get_Rate(&rate));
    EXPECT_DOUBLE_EQ(2.92, rate);
    ComPtr<ITypeInfo> info;
    EXPECT_HRESULT(TYPE_E_ELEMENTNOTFOUND, position->GetTypeInfo(1, LOCALE_USER_DEFAULT, &info));
}

TEST_F(FilterTest, APositionIsNeverReportedButAStopTimeIs)
{
    double value = 7.0;
    EXPECT_HRESULT(S_OK, position->get_CurrentPosition(&value));
    EXPECT_EQ(7.0, value);
    EXPECT_HRESULT(S_OK, position->put_StopTime(10.25));
    EXPECT_HRESULT(S_OK, position->get_StopTime(&value));
    EXPECT_EQ(10.25, value);
    EXPECT_HRESULT(S_OK, position->get_PrerollTime(&value));
    EXPECT_EQ(0.0, value);
    EXPECT_HRESULT(E_NOTIMPL, position->put_PrerollTime(1.0));
    LONG can[] = {OAFALSE, OAFALSE};
    EXPECT_HRESULT(S_OK, position->CanSeekForward(&can[0]));
    EXPECT_HRESULT(S_OK, position->CanSeekBackward(&can[1]));
    EXPECT_TRUE(can[0] == OATRUE && can[1] == OATRUE);
}

TEST_F(FilterTest, ProgramsAndStreamsInWords)
{
    const auto describe = [&](DWORD stream, WORD pmtPid, WORD program, HRESULT expected) {
        WORD pid = 0;
        BSTR text = nullptr;
        EXPECT_HRESULT(expected, tarnwell->GetStreamInfo(stream, pmtPid, program, &pid, &text));
        return taken(text);
    };
    DWORD index = 9;
    WORD number = 9;
    WORD pmtPid = 9;
    EXPECT_HRESULT(S_FALSE, tarnwell->GetCurrentProgram(&index, &number, &pmtPid));
    EXPECT_EQ(9U, index);
    EXPECT_EQ(0U, number + pmtPid);

    ASSERT_HRESULT(S_OK, load(kTwoProgramsSample));
    DWORD count = 0;
    EXPECT_HRESULT(S_OK, tarnwell->GetProgramCount(&count));
    EXPECT_EQ(2U, count);
    BSTR name = nullptr;
    EXPECT_HRESULT(S_OK, tarnwell->GetProgramInfo(1, &pmtPid, &number, &name));
    EXPECT_EQ(L"Program 2", taken(name));
    EXPECT_HRESULT(S_OK, tarnwell->GetProgramInfo(2, &pmtPid, nullptr, nullptr));
    EXPECT_EQ(0x1001, pmtPid) << "of no program: left as it was";
    EXPECT_HRESULT(S_OK, tarnwell->GetStreamCount(0, 0, &count));
    EXPECT_EQ(1U, count);  // the table's leading entry
    EXPECT_EQ(L"MPEG2-ADTS Audio (0x0101)", describe(1, 0x1000, 1, S_OK));
    EXPECT_EQ(L"(null)", describe(2, 0x1000, 1, E_FAIL));
    EXPECT_EQ(L"(null)", describe(0, 0x1001, 2, S_FALSE));  // not probed: another program is selected
    TarnwellVideoInfo info = {};
    EXPECT_HRESULT(S_OK, tarnwell->GetVideoInfo(&info));
    EXPECT_EQ(100U, info.profile_idc);
    EXPECT_LT(0U, info.initialCpbRemovalDelay);

    EXPECT_HRESULT(S_OK, tarnwell->SelectProgramByNumber(0x1001, 2));
    EXPECT_HRESULT(E_FAIL, tarnwell->GetVideoInfo(&info)) << "of MPEG-2 video";
    EXPECT_EQ(L"MPEG2 Video (0x0102)", describe(0, 0x1001, 2, S_OK));
    EXPECT_HRESULT(E_FAIL, tarnwell->SelectProgramByNumber(0x1001, 1));
    EXPECT_HRESULT(E_FAIL, tarnwell->SelectProgram(2));
    EXPECT_HRESULT(S_OK, tarnwell->GetCurrentProgram(&index, &number, &pmtPid));
    EXPECT_EQ(1U, index);
    EXPECT_EQ(2, number);
    EXPECT_EQ(0x1001, pmtPid);

    ASSERT_HRESULT(S_OK, tarnwell->SetDefaultStreams(0x300, 0x200, 0x02, 0x201, 0x03));
    ASSERT_HRESULT(S_OK, load(kMpeg2Sample));
    EXPECT_EQ(L"MPEG2 Video (0x0200)", describe(0, 0x300, 1, S_OK)) << "the tables are not looked at";
    EXPECT_EQ(L"MPEG1 Audio (0x0201)", describe(1, 0x300, 1, S_OK));
}

}  // namespace zarnow::test
