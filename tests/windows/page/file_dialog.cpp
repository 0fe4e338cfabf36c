#include "tests/windows/page/file_dialog.h"

#include <dlgs.h>

namespace zarnow::test {

namespace {

constexpr int kAttempts = 500;  // of 20 ms

/// Of this process only, and with all its controls.
HWND findDialog()
{
    HWND dialog = nullptr;
    while ((dialog = FindWindowExA(nullptr, dialog, "#32770", "Open transport stream file...")) != nullptr) {
        DWORD process = 0;
        GetWindowThreadProcessId(dialog, &process);
        if (process == GetCurrentProcessId() && IsWindowVisible(dialog))
            return dialog;
    }
    return nullptr;
}

}  // namespace

FileDialogUser::FileDialogUser(std::string fileName) : fileName_(std::move(fileName)), thread_([this] { work(); }) {}

FileDialogUser::~FileDialogUser()
{
    done();
}

bool FileDialogUser::done()
{
    if (thread_.joinable())
        thread_.join();
    std::filesystem::current_path(directory_);
    return found_;
}

void FileDialogUser::work()
{
    HWND dialog = nullptr;
    for (int attempt = 0; attempt < kAttempts && dialog == nullptr; ++attempt) {
        Sleep(20);
        dialog = findDialog();
    }
    if (dialog == nullptr)
        return;
    found_ = true;
    note(dialog);
    answer(dialog);
}

void FileDialogUser::note(HWND dialog)
{
    owner = GetWindow(dialog, GW_OWNER);
    const HWND list = GetDlgItem(dialog, cmb1);
    const LRESULT count = SendMessageA(list, CB_GETCOUNT, 0, 0);
    for (LRESULT kind = 0; kind < count; ++kind) {
        char text[128] = "";
        SendMessageA(list, CB_GETLBTEXT, static_cast<WPARAM>(kind), reinterpret_cast<LPARAM>(text));
        kinds.emplace_back(text);
    }
    chosenKind = SendMessageA(list, CB_GETCURSEL, 0, 0);
}

void FileDialogUser::answer(HWND dialog) const
{
    if (!fileName_.empty()) {
        const HWND edit = GetDlgItem(dialog, edt1);
        SendMessageA(edit != nullptr ? edit : GetDlgItem(dialog, cmb13), WM_SETTEXT, 0,
                     reinterpret_cast<LPARAM>(fileName_.c_str()));
    }
    PostMessageA(dialog, WM_COMMAND, fileName_.empty() ? IDCANCEL : IDOK, 0);
}

}  // namespace zarnow::test
