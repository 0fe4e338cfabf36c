/// @file
/// Wide strings and the thread's ANSI code page.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <memory>
#include <string>

namespace zarnow {

inline std::string ansiOfWide(const wchar_t* wide, int length)
{
    if (wide == nullptr || length <= 0)
        return {};
    const int size = WideCharToMultiByte(CP_THREAD_ACP, 0, wide, length, nullptr, 0, nullptr, nullptr);
    std::string ansi(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_THREAD_ACP, 0, wide, length, ansi.data(), size, nullptr, nullptr);
    return ansi;
}

inline std::wstring wideOfAnsi(const char* ansi)
{
    const int size = MultiByteToWideChar(CP_THREAD_ACP, 0, ansi, -1, nullptr, 0);
    if (size <= 1)
        return {};
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_THREAD_ACP, 0, ansi, -1, wide.data(), size);
    wide.pop_back();  // the terminating zero
    return wide;
}

/// Takes the string over and frees it.
inline std::string ansiOfBstr(BSTR text)
{
    const std::unique_ptr<OLECHAR, decltype(&SysFreeString)> owned(text, SysFreeString);  // freed also without memory
    return ansiOfWide(text, static_cast<int>(SysStringLen(text)));
}

}  // namespace zarnow
