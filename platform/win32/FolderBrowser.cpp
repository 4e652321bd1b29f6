#include "platform/win32/FolderBrowser.h"

#include "platform/File.h"
#include "platform/win32/Wide.h"

#include <exception>
#include <memory>

#include <windows.h>

#include <shlobj.h>

namespace zutools::platform {

namespace {

struct TFreeItems {
    void operator()(ITEMIDLIST* Items) const { CoTaskMemFree(Items); }
};
using TItems = std::unique_ptr<ITEMIDLIST, TFreeItems>;

// The shell asks for OLE on the thread of its browser.
class TOle {
public:
    TOle()
        : FDone(SUCCEEDED(OleInitialize(nullptr))) {}
    ~TOle() {
        if (FDone) OleUninitialize();
    }
    TOle(const TOle&) = delete;
    TOle& operator=(const TOle&) = delete;

private:
    const bool FDone;
};

TItems RootOf(const TFolderBrowse& Browse) {
    ITEMIDLIST* Items = nullptr;
    HRESULT Code = S_OK;
    if (Browse.RootFolder) {
        Code = SHGetSpecialFolderLocation(static_cast<HWND>(Browse.Owner), *Browse.RootFolder, &Items);
    } else if (!Browse.RootPath.empty()) {
        Code = SHParseDisplayName(Wide(Browse.RootPath.c_str()), nullptr, &Items, 0, nullptr);
    }
    if (FAILED(Code)) {
        const std::u16string Name = Browse.RootFolder ? u"a special folder" : Browse.RootPath;
        throw TSystemError(u"Cannot browse", Name, HRESULT_CODE(Code));
    }
    return TItems(Items);
}

class TRunning final : public TFolderBrowserWindow {
public:
    explicit TRunning(const TFolderBrowse& Browse)
        : FBrowse(Browse) {}

    [[nodiscard]] void* Handle() const override { return FWindow; }
    void Send(unsigned Message, std::intptr_t Param, std::u16string_view Text) override {
        const std::u16string Whole(Text);
        SendMessageW(FWindow, Message, static_cast<WPARAM>(Param), reinterpret_cast<LPARAM>(Whole.c_str()));
    }
    int Told(HWND Window, unsigned Message, LPARAM Param) {
        if (!FBrowse.Callback || FError != nullptr) return 0;
        FWindow = Window;
        const bool IsName = Message == BFFM_VALIDATEFAILEDW && Param != 0;
        try {
            return FBrowse.Callback(*this, Message,
                                    IsName
                                        ? std::u16string_view(Narrow(reinterpret_cast<const wchar_t*>(Param)))
                                        : std::u16string_view());
        } catch (...) { // none may cross the shell
            FError = std::current_exception();
            PostMessageW(Window, WM_COMMAND, IDCANCEL, 0);
            return 0;
        }
    }
    void Raise() const {
        if (FError != nullptr) std::rethrow_exception(FError);
    }

private:
    const TFolderBrowse& FBrowse;
    HWND FWindow = nullptr;
    std::exception_ptr FError;
};

int CALLBACK OnMessage(HWND Window, UINT Message, LPARAM Param, LPARAM Running) {
    return reinterpret_cast<TRunning*>(Running)->Told(Window, Message, Param);
}

} // namespace

std::optional<TFolderChosen> BrowseForFolder(const TFolderBrowse& Browse) {
    const TOle Ole;
    const TItems Root = RootOf(Browse);
    TRunning Running(Browse);
    wchar_t DisplayName[MAX_PATH] = {};
    BROWSEINFOW Info = {};
    Info.hwndOwner = static_cast<HWND>(Browse.Owner);
    Info.pidlRoot = Root.get();
    Info.pszDisplayName = DisplayName;
    Info.lpszTitle = Wide(Browse.Title.c_str());
    Info.ulFlags = Browse.Flags;
    Info.lpfn = OnMessage;
    Info.lParam = reinterpret_cast<LPARAM>(&Running);
    const TItems Chosen(SHBrowseForFolderW(&Info));
    Running.Raise();
    if (Chosen == nullptr) return std::nullopt;
    wchar_t Path[MAX_PATH] = {};
    SHGetPathFromIDListW(Chosen.get(), Path);
    return TFolderChosen{Narrow(Path), Narrow(DisplayName)};
}

} // namespace zutools::platform
