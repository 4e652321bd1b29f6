#include "controls/Zuseldir.h"

#include "controls/ChangedField.h"
#include "controls/FolderDialog.h"

#include <QIcon>
#include <QStyle>

#include <array>
#include <utility>

namespace zutools {

namespace {

constexpr std::array AllFlags{
    bf_BrowseForComputer, bf_BrowseForPrinter, bf_DontGoBelowDomain, bf_statustext, bf_ReturnFSanceStors,
    bf_ReturnOnlyFSDIRS,  bf_EditBox};
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
    if (FORoot == bl_CUSTOM)
        Info.RootPath = FRoot;
    else if (FORoot != bl_STANDART)
        Info.RootFolder = SpecialFolders[static_cast<std::size_t>(FORoot)];
    Info.Callback = FCallback;
    Info.Data = FData.value_or(TBrowseData{FFolderName, FStatusText});
    Info.Flags = FOperFlags | Validate | NewDialogStyle;
    const auto Chosen = OnBrowse ? OnBrowse(Info) : ShowFolderDialog(Info);
    if (!Chosen) return false;
    SetFolderName(Chosen->Path);
    SetDisplayName(Chosen->DisplayName);
    return true;
}

void TBrowseForFolder::SetOperFlag(unsigned Bit, bool On) {
    FOperFlags = On ? FOperFlags | Bit : FOperFlags & ~Bit;
}

void TBrowseForFolder::SetFlags(TBrowseFlags Value) {
    if (Value == GetFlags()) return;
    for (const TBrowseFlag Flag : AllFlags) SetOperFlag(Flag, Value.testFlag(Flag));
    emit FlagsChanged();
}

TBrowseFlags TBrowseForFolder::GetFlags() const {
    TBrowseFlags Result;
    for (const TBrowseFlag Flag : AllFlags) Result.setFlag(Flag, GetOperFlag(Flag));
    return Result;
}

void TBrowseForFolder::SetCaption(const QString& Text) {
    SetField(*this, FCaption, Text, &TBrowseForFolder::CaptionChanged);
}

void TBrowseForFolder::SetDisplayName(const QString& Value) {
    SetField(*this, FDisplayName, Value, &TBrowseForFolder::DisplayNameChanged);
}

void TBrowseForFolder::SetStatusText(const QString& Value) {
    SetField(*this, FStatusText, Value, &TBrowseForFolder::StatusTextChanged);
}

void TBrowseForFolder::SetFolderName(const QString& Value) {
    SetField(*this, FFolderName, Value, &TBrowseForFolder::FolderNameChanged);
}

void TBrowseForFolder::SetRoot(TBrowseLocation Value) {
    SetField(*this, FORoot, Value, &TBrowseForFolder::RootChanged);
}

QIcon TBrowseForFolder::Picture() const {
    return style()->standardIcon(QStyle::SP_DirOpenIcon);
}

bool ZUSelectDirectory(QWidget* OwnerWindow, const QString& Caption, QString& Directory) {
    TBrowseForFolder Browser;
    Browser.SetFolderName(Directory);
    Browser.SetCaption(Caption);
    Browser.OwnerHandle = OwnerWindow;
    Browser.SetFlags({bf_statustext, bf_ReturnOnlyFSDIRS});
    if (!Browser.Execute()) return false;
    Directory = Browser.FolderName();
    return true;
}

} // namespace zutools
