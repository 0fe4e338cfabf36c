// IMediaPosition and ITarnwell.

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

class InterfaceTest : public FilterTest
{
protected:
    std::wstring describe(DWORD stream, WORD pmtPid, WORD program, HRESULT expected)
    {
        WORD pid = 0;
        BSTR text = nullptr;
        EXPECT_HRESULT(expected, tarnwell->GetStreamInfo(stream, pmtPid, program, &pid, &text));
        return taken(text);
    }
};

TEST_F(InterfaceTest, MissingArguments)
{
    DWORD index = 0;
    WORD number = 0;
    BSTR text = nullptr;
    const HRESULT results[] = {
        position->get_Duration(nullptr),
        position->get_CurrentPosition(nullptr),
        position->get_StopTime(nullptr),
        position->get_PrerollTime(nullptr),
        position->get_Rate(nullptr),
        position->CanSeekForward(nullptr),
        position->CanSeekBackward(nullptr),
        position->GetTypeInfoCount(nullptr),
        position->GetTypeInfo(0, LOCALE_USER_DEFAULT, nullptr),
        tarnwell->GetBufferSize(nullptr),
        tarnwell->GetProgramCount(nullptr),
        tarnwell->GetCurrentProgram(&index, nullptr, &number),
        tarnwell->GetCurrentProgram(&index, &number, nullptr),
        tarnwell->GetProgramInfo(0, nullptr, &number, nullptr),
        tarnwell->GetProgramInfo(0, &number, nullptr, &text),
        tarnwell->GetStreamCount(0, 0, nullptr),
        tarnwell->GetStreamInfo(0, 0, 0, nullptr, &text),
        tarnwell->GetStreamInfo(0, 0, 0, &number, nullptr),
        tarnwell->GetVideoInfo(nullptr),
        source->Load(nullptr, nullptr),
        source->GetCurFile(nullptr, nullptr),
        filter->QueryInterface(IID_IUnknown, nullptr),
        query<ISpecifyPropertyPages>(filter.Get())->GetPages(nullptr),
    };
    for (std::size_t i = 0; i < std::size(results); ++i)
        EXPECT_HRESULT(E_POINTER, results[i]) << i;
}

TEST_F(InterfaceTest, PositionBeforeAnyFile)
{
    const auto get = [this](auto method) {
        double value = 7.0;
        EXPECT_HRESULT(S_OK, (position.Get()->*method)(&value));
        return value;
    };
    EXPECT_EQ(7.0, get(&IMediaPosition::get_CurrentPosition)) << "a position is reported";
    EXPECT_EQ(4.0e12, get(&IMediaPosition::get_Duration));
    EXPECT_EQ(0.0, get(&IMediaPosition::get_PrerollTime));
    EXPECT_HRESULT(E_NOTIMPL, position->put_PrerollTime(1.0));
    for (const double rate : {0.0, -2.0, 1.5}) {
        EXPECT_HRESULT(S_OK, position->put_Rate(rate));
        EXPECT_EQ(rate, get(&IMediaPosition::get_Rate));
    }
    EXPECT_HRESULT(S_OK, position->put_StopTime(10.25));
    EXPECT_EQ(10.25, get(&IMediaPosition::get_StopTime));
    for (const auto canSeek : {&IMediaPosition::CanSeekForward, &IMediaPosition::CanSeekBackward}) {
        LONG can = 0;
        EXPECT_HRESULT(S_OK, (position.Get()->*canSeek)(&can));
        EXPECT_EQ(OATRUE, can);
    }
}

TEST_F(InterfaceTest, PropertiesAreFoundByName)
{
    ASSERT_HRESULT(S_OK, load(kMpeg2Sample));
    const ComPtr<IDispatch> dispatch = query<IDispatch>(position.Get(), IID_IMediaPosition);
    const auto invoke = [&](DISPID id, REFIID iid, WORD flags, DISPPARAMS params, VARIANT* value) {
        return dispatch->Invoke(id, iid, LOCALE_USER_DEFAULT, flags, &params, value, nullptr, nullptr);
    };
    const auto idOf = [&](std::wstring name, HRESULT expected) {
        LPOLESTR names = name.data();
        DISPID id = 0;
        EXPECT_HRESULT(expected, dispatch->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id));
        return id;
    };
    idOf(L"NoSuchMember", DISP_E_UNKNOWNNAME);
    const DISPID duration = idOf(L"Duration", S_OK);
    VARIANT value = {};
    EXPECT_HRESULT(DISP_E_UNKNOWNINTERFACE, invoke(duration, IID_IDispatch, DISPATCH_PROPERTYGET, {}, &value));
    ASSERT_HRESULT(S_OK, invoke(duration, IID_NULL, DISPATCH_PROPERTYGET, {}, &value));
    EXPECT_EQ(VT_R8, value.vt);
    EXPECT_DOUBLE_EQ(2.92, value.dblVal);
    DISPID put = DISPID_PROPERTYPUT;
    EXPECT_HRESULT(S_OK, invoke(idOf(L"Rate", S_OK), IID_NULL, DISPATCH_PROPERTYPUT, {&value, &put, 1, 1}, nullptr));
    double rate = 0.0;
    position->get_Rate(&rate);
    EXPECT_DOUBLE_EQ(2.92, rate);

    UINT count = 0;
    EXPECT_HRESULT(S_OK, dispatch->GetTypeInfoCount(&count));
    EXPECT_EQ(1U, count);
    ComPtr<ITypeInfo> info;
    EXPECT_HRESULT(TYPE_E_ELEMENTNOTFOUND, dispatch->GetTypeInfo(1, LOCALE_USER_DEFAULT, &info));
    ASSERT_HRESULT(S_OK, dispatch->GetTypeInfo(0, LOCALE_USER_DEFAULT, &info));
    TYPEATTR* attributes = nullptr;
    ASSERT_HRESULT(S_OK, info->GetTypeAttr(&attributes));
    EXPECT_EQ(IID_IMediaPosition, attributes->guid);
    info->ReleaseTypeAttr(attributes);
}

TEST_F(InterfaceTest, ProgramsAndStreamsInWords)
{
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
    EXPECT_EQ(1, info.timing_info_present_flag);
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
}

TEST_F(InterfaceTest, DefaultPidsReplaceTheTables)
{
    const std::pair<WORD, WORD> pmtPids[] = {{0x201, 0x0100}, {0, 0x1000}};  // by audio PIDs, which are needed too
    for (const auto& [audioPid, expected] : pmtPids) {
        ASSERT_HRESULT(S_OK, tarnwell->SetDefaultStreams(0, 0x200, 0x02, audioPid, 0x03));
        ASSERT_HRESULT(S_OK, load(kMpeg2Sample));
        WORD pid = 0;
        EXPECT_HRESULT(S_OK, tarnwell->GetProgramInfo(0, &pid, nullptr, nullptr));
        EXPECT_EQ(expected, pid);
        EXPECT_EQ(L"MPEG2 Video (0x0200)", describe(0, expected, 1, S_OK));
    }
}

}  // namespace zarnow::test
