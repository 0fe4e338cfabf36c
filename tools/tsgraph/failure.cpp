#include "tools/tsgraph/failure.h"

#include <vfwmsgs.h>

#include <iterator>

#include "tools/common/formatted.h"
#include "tools/common/utf8.h"

namespace tsgraph {
namespace {

// DirectShow's own messages are in quartz.dll, the others in the system.
std::wstring platformMessage(HRESULT result)
{
    constexpr DWORD kFlags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS;
    wchar_t text[512];
    const DWORD length = FormatMessageW(kFlags, GetModuleHandleW(L"quartz.dll"), static_cast<DWORD>(result), 0, text,
                                        static_cast<DWORD>(std::size(text)), nullptr);
    std::wstring message(text, length);
    while (!message.empty() && message.back() <= L' ')
        message.pop_back();
    return message;
}

// For where quartz.dll comes without its messages.
const char* ownMessage(HRESULT result)
{
    switch (result) {
        case VFW_E_NO_ACCEPTABLE_TYPES:
        case VFW_E_TYPE_NOT_ACCEPTED:
            return "The pins have no media type in common.";
        case VFW_E_CANNOT_CONNECT:
            return "No combination of filters makes the connection.";
        case VFW_E_NO_TRANSPORT:
        case VFW_E_NO_ALLOCATOR:
            return "The pins cannot agree on how samples get across.";
        case VFW_E_NOT_STOPPED:
            return "The graph is not stopped.";
        case VFW_E_WRONG_STATE:
            return "The graph is in the wrong state.";
        case REGDB_E_CLASSNOTREG:
            return "The class is not registered.";
        case VFW_E_BUFFER_OVERFLOW:
            return "A sample is too small for its data.";
        default:
            return "";
    }
}

std::string hexCode(HRESULT result)
{
    return formatted("0x%08lX", static_cast<unsigned long>(result));
}

}  // namespace

std::string resultText(HRESULT result)
{
    const std::string platform = toUtf8(platformMessage(result));
    const std::string message = platform.empty() ? ownMessage(result) : platform;
    return message.empty() ? "error " + hexCode(result) : message + " (" + hexCode(result) + ")";
}

void check(HRESULT result, const std::string& what)
{
    if (FAILED(result))
        throw Failure(what + ": " + resultText(result));
}

}  // namespace tsgraph
