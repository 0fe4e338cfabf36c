/// @file
/// A user at the open-file dialog.
#pragma once

#include <windows.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace zarnow::test {

/// Waits in a thread of its own for the dialog to appear, notes what it shows, enters the name and presses the button.
class FileDialogUser
{
public:
    /// @param fileName  entered before OK; empty: Cancel
    explicit FileDialogUser(std::string fileName);
    FileDialogUser(const FileDialogUser&) = delete;
    FileDialogUser& operator=(const FileDialogUser&) = delete;
    ~FileDialogUser();

    /// Waits until the user has done it, and goes back to the current directory, which the dialog changes.
    /// @return whether the dialog appeared
    bool done();

    std::vector<std::string> kinds;  ///< the file types offered
    LRESULT chosenKind = -1;
    HWND owner = nullptr;

private:
    void work();
    void note(HWND dialog);
    void answer(HWND dialog) const;

    std::string fileName_;
    std::filesystem::path directory_ = std::filesystem::current_path();
    bool found_ = false;
    std::thread thread_;
};

}  // namespace zarnow::test
