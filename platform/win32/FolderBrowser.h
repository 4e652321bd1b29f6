// The shell's own folder browser.

#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace zutools::platform {

/// A browser while it runs, for its callback.
class TFolderBrowserWindow {
public:
    /// The window (HWND).
    [[nodiscard]] virtual void* Handle() const = 0;
    /// 1127 selects the folder `Text` with `Param` 1, 1128 shows `Text` as status.
    virtual void Send(unsigned Message, std::intptr_t Param, std::u16string_view Text) = 0;

protected:
    ~TFolderBrowserWindow() = default;
};

struct TFolderBrowse {
    void* Owner = nullptr;         // HWND
    std::optional<int> RootFolder; // the shell's number of a special folder
    std::u16string RootPath;       // in place of a number; both empty: the desktop
    std::u16string Title;
    unsigned Flags = 0; // the shell's
    /// Message 1: it stands; 2: another folder is selected; 4: the typed name `Text` does not exist, and 1
    /// keeps the browser open. An exception closes the browser and comes out of BrowseForFolder.
    std::function<int(TFolderBrowserWindow& Window, unsigned Message, std::u16string_view Text)> Callback;
};

struct TFolderChosen {
    std::u16string Path; // empty for what is no folder of the file system
    std::u16string DisplayName;
};

/// Shows the browser until a person chose or gave up (nothing). Blocks, and runs the thread's messages
/// meanwhile.
/// @throws TSystemError when the root is not there.
[[nodiscard]] std::optional<TFolderChosen> BrowseForFolder(const TFolderBrowse& Browse);

} // namespace zutools::platform
