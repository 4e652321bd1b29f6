#include "controls/Zuseldir.h"

#include "controls/FolderDialog.h"

#include <array>
#include <utility>

namespace zutools {

namespace {

struct TFlagBit {
    TBrowseFlag Flag;
    unsigned Bit;
};

constexpr std::array FlagBits{
    TFlagBit{bf_BrowseForComputer, 0x1000},
    TFlagBit{bf_BrowseForPrinter, 0x2000},
    TFlagBit{bf_DontGoBelowDomain, 0x2},
    TFlagBit{bf_statustext, 0x4},
    TFlagBit{bf_ReturnFSanceStors, 0x8},
    TFlagBit{bf_ReturnOnlyFSDIRS, 0x1},
    TFlagBit{bf_EditBox, 0x10},
};
constexpr unsigned Validate = 0x20;
constexpr unsigned NewDialogStyle = 0x40;

// The shell's numbers of its special folders, in the order of TBrowseLocation.
constexpr std::array SpecialFolders{-1, -1, 0,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11,
                                    16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27};

} // namespace

int BrowseCallbackProc(TFolderBrowserWindow& Window, unsigned Message, const QString& /*Param*/,
                       const TBrowseData& Data) {
    if (Message == bm_ValidateFailed) return 1;
    if (Message != bm_Initialized) return 0;
    if (!Data.Selection.isEmpty()) Window.Send(bm_SetSelection, 1, Data.Selection);
    if (!Data.StatusText.isEmpty()) Window.Send(bm_SetStatusText, 0, Data.StatusText);
    return 0;
}

bool TBrowseForFolder::Execute() {
    TBrowseInfo Info;
    Info.Owner = OwnerHandle;
    Info.Title = FCaption;
    if (Root == bl_CUSTOM)
        Info.RootPath = FRoot;
    else if (Root != bl_STANDART)
        Info.RootFolder = SpecialFolders[static_cast<std::size_t>(Root)];
    Info.Callback = FCallback;
    Info.Data = FData.value_or(TBrowseData{FolderName, StatusText});
    Info.Flags = FOperFlags | Validate | NewDialogStyle;
    const auto Chosen = OnBrowse ? OnBrowse(Info) : ShowFolderDialog(Info);
    if (!Chosen) return false;
    FolderName = Chosen->Path;
    DisplayName = Chosen->DisplayName;
    return true;
}

void TBrowseForFolder::SetOperFlag(unsigned Bit, bool On) {
    FOperFlags = On ? FOperFlags | Bit : FOperFlags & ~Bit;
}

void TBrowseForFolder::SetFlags(const TBrowseFlags& Flags) {
    for (const auto& [Flag, Bit] : FlagBits) SetOperFlag(Bit, Flags.contains(Flag));
}

TBrowseFlags TBrowseForFolder::GetFlags() const {
    TBrowseFlags Result;
    for (const auto& [Flag, Bit] : FlagBits)
        if (GetOperFlag(Bit)) Result.insert(Flag);
    return Result;
}

bool ZUSelectDirectory(QWidget* OwnerWindow, const QString& Caption, QString& Directory) {
    TBrowseForFolder Browser;
    Browser.FolderName = Directory;
    Browser.SetCaption(Caption);
    Browser.OwnerHandle = OwnerWindow;
    Browser.SetFlags({bf_statustext, bf_ReturnOnlyFSDIRS});
    if (!Browser.Execute()) return false;
    Directory = Browser.FolderName;
    return true;
}

} // namespace zutools
