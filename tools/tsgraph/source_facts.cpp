#include "tools/tsgraph/source_facts.h"

#include <oleauto.h>

#include <memory>

#include "tools/common/find_pin.h"
#include "tools/common/utf8.h"
#include "tools/tsgraph/failure.h"

namespace tsgraph {
namespace {

template <typename Interface>
ComPtr<Interface> interfaceOf(IBaseFilter& filter, REFIID iid, const char* name)
{
    ComPtr<Interface> result;
    check(filter.QueryInterface(iid, reinterpret_cast<void**>(result.GetAddressOf())),
          std::string("the filter has no ") + name);
    return result;
}

ComPtr<ITarnwell> tarnwellOf(IBaseFilter& filter)
{
    return interfaceOf<ITarnwell>(filter, IID_ITarnwell, "ITarnwell");
}

std::string takeText(BSTR text)
{
    const std::unique_ptr<OLECHAR, decltype(&SysFreeString)> owner{text, SysFreeString};
    return text == nullptr ? std::string{} : toUtf8({text, SysStringLen(text)});
}

StreamFacts readStream(ITarnwell& tarnwell, const ProgramFacts& program, DWORD index)
{
    StreamFacts stream;
    BSTR description = nullptr;
    check(tarnwell.GetStreamInfo(index, program.pmtPid, program.programNumber, &stream.pid, &description),
          "the filter does not describe a stream that it counts");
    stream.description = takeText(description);
    return stream;
}

ProgramFacts readProgram(ITarnwell& tarnwell, DWORD index)
{
    ProgramFacts program;
    BSTR name = nullptr;
    check(tarnwell.GetProgramInfo(index, &program.pmtPid, &program.programNumber, &name),
          "the filter does not describe a program that it counts");
    program.name = takeText(name);
    DWORD count = 0;
    check(tarnwell.GetStreamCount(program.pmtPid, program.programNumber, &count), "the streams cannot be counted");
    for (DWORD i = 0; i < count; ++i)
        program.streams.push_back(readStream(tarnwell, program, i));
    return program;
}

void markSelected(ITarnwell& tarnwell, std::vector<ProgramFacts>& programs)
{
    DWORD index = 0;
    WORD number = 0;
    WORD pmtPid = 0;
    if (tarnwell.GetCurrentProgram(&index, &number, &pmtPid) == S_OK && index < programs.size())
        programs[index].selected = true;
}

// The filter's result alone does not tell why: an empty file, for one, is a plain E_FAIL.
std::string loadFailureReason(const std::wstring& path, HRESULT result)
{
    if (path.size() >= MAX_PATH)
        return "its path has 260 characters or more, which the filter does not take";
    WIN32_FILE_ATTRIBUTE_DATA attributes{};
    if (GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &attributes) == FALSE)
        return resultText(HRESULT_FROM_WIN32(GetLastError()));
    if ((attributes.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return "it is a directory, a transport-stream file is expected";
    if (attributes.nFileSizeLow == 0 && attributes.nFileSizeHigh == 0)
        return "the file is empty";
    return resultText(result);
}

}  // namespace

void loadFile(IBaseFilter& filter, const std::wstring& path)
{
    const auto source = interfaceOf<IFileSourceFilter>(filter, IID_IFileSourceFilter, "IFileSourceFilter");
    const HRESULT result = source->Load(path.c_str(), nullptr);
    if (FAILED(result))
        throw Failure(toUtf8(path) + ": cannot be loaded: " + loadFailureReason(path, result));
}

ComPtr<IPin> outputPin(IBaseFilter& filter)
{
    ComPtr<IPin> pin = findPin(filter, PINDIR_OUTPUT);
    if (pin.Get() == nullptr)
        throw Failure("the filter has no output pin");
    return pin;
}

bool isAnalysed(IPin& output)
{
    ComPtr<IEnumMediaTypes> types;
    if (FAILED(output.EnumMediaTypes(types.GetAddressOf())))
        return false;
    AM_MEDIA_TYPE* type = nullptr;
    if (types->Next(1, &type, nullptr) != S_OK)
        return false;
    CoTaskMemFree(type->pbFormat);
    if (type->pUnk != nullptr)
        type->pUnk->Release();
    CoTaskMemFree(type);
    return true;
}

void selectProgram(IBaseFilter& filter, DWORD index, const std::wstring& path)
{
    const ComPtr<ITarnwell> tarnwell = tarnwellOf(filter);
    DWORD count = 0;
    check(tarnwell->GetProgramCount(&count), "the programs cannot be counted");
    if (index >= count)
        throw Failure(toUtf8(path) + ": --program " + std::to_string(index) + ": the file has " +
                      std::to_string(count) + (count == 1 ? " program" : " programs") + ", counted from 0");
    check(tarnwell->SelectProgram(index), toUtf8(path) + ": program " + std::to_string(index) + " cannot be selected");
}

SourceFacts readSourceFacts(IBaseFilter& filter)
{
    SourceFacts facts;
    const auto position = interfaceOf<IMediaPosition>(filter, IID_IMediaPosition, "IMediaPosition");
    check(position->get_Duration(&facts.durationSeconds), "the filter does not tell a duration");
    const ComPtr<ITarnwell> tarnwell = tarnwellOf(filter);
    DWORD count = 0;
    check(tarnwell->GetProgramCount(&count), "the programs cannot be counted");
    for (DWORD i = 0; i < count; ++i)
        facts.programs.push_back(readProgram(*tarnwell.Get(), i));
    markSelected(*tarnwell.Get(), facts.programs);
    TarnwellVideoInfo info{};
    if (tarnwell->GetVideoInfo(&info) == S_OK)
        facts.avc = info;
    return facts;
}

}  // namespace tsgraph
