// The shell's folder browser, worked by its messages. Needs a display. Wine never tells of a name that is not
// there.

#include "platform/win32/FolderBrowser.h"

#include "platform/File.h"
#include "platform/win32/Wide.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <vector>

#include <windows.h>

using namespace zutools::platform;
using testing::Contains;
using zutools::tests::TTempFolder;

namespace {

constexpr unsigned Initialized = 1, SetSelection = 1127, SetStatusText = 1128;
constexpr unsigned OnlyFolders = 0x1, StatusText = 0x4, Validate = 0x20, NewStyle = 0x40;

class FolderBrowser : public testing::Test {
protected:
    void SetUp() override {
        const HWND Window =
            CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
        if (Window == nullptr) GTEST_SKIP() << "no display";
        DestroyWindow(Window);
        Folder.Write(u"внутри/file", "");
        Inside = Folder.File(u"внутри");
        for (char16_t& C : Inside)
            if (C == u'/') C = u'\\';
        Browse.Title = u"Select Folder";
        Browse.Flags = OnlyFolders | StatusText | Validate | NewStyle;
    }
    static void Press(const TFolderBrowserWindow& Window, int Button) {
        PostMessageW(static_cast<HWND>(Window.Handle()), WM_COMMAND, static_cast<WPARAM>(Button), 0);
    }
    TTempFolder Folder;
    std::u16string Inside;
    TFolderBrowse Browse;
};

TEST_F(FolderBrowser, OpensAtTheSelectionAndGivesIt) {
    std::vector<unsigned> Messages;
    Browse.Callback = [&](TFolderBrowserWindow& Window, unsigned Message, std::u16string_view) {
        Messages.push_back(Message);
        if (Message != Initialized) return 0;
        Window.Send(SetSelection, 1, Inside);
        Window.Send(SetStatusText, 0, u"Plase select folder");
        Press(Window, IDOK);
        return 0;
    };
    const auto Chosen = BrowseForFolder(Browse);
    ASSERT_TRUE(Chosen);
    EXPECT_EQ(Chosen->Path, Inside);
    EXPECT_TRUE(Chosen->DisplayName.ends_with(u"внутри")); // Wine tells the whole path
    EXPECT_THAT(Messages, Contains(Initialized));
}

TEST_F(FolderBrowser, ErrorsOfTheCallbackAndOfTheRootComeOut) {
    Browse.Callback = [](TFolderBrowserWindow&, unsigned, std::u16string_view) -> int {
        throw std::runtime_error("own");
    };
    EXPECT_THROW((void)BrowseForFolder(Browse), std::runtime_error);
    Browse.RootPath = Inside + u"\\none";
    EXPECT_THROW((void)BrowseForFolder(Browse), TSystemError);
    Browse.RootPath.clear();
    constexpr int Drives = 17;
    Browse.RootFolder = Drives;
    Browse.Callback = [](TFolderBrowserWindow& Window, unsigned Message, std::u16string_view) {
        if (Message == Initialized) Press(Window, IDCANCEL);
        return 0;
    };
    EXPECT_FALSE(BrowseForFolder(Browse));
}

} // namespace
