// Lets a person choose a folder below a root.
//
// For the user-interface thread.

#pragma once

#include <QString>
#include <QWidget>

#include <cstdint>
#include <functional>
#include <optional>
#include <set>

namespace zutools {

enum TBrowseFlag {
    bf_BrowseForComputer,
    bf_BrowseForPrinter,
    bf_DontGoBelowDomain,
    bf_statustext,
    bf_ReturnFSanceStors,
    bf_ReturnOnlyFSDIRS,
    bf_EditBox
};
using TBrowseFlags = std::set<TBrowseFlag>;

enum TBrowseLocation {
    bl_STANDART,
    bl_CUSTOM,
    bl_DESKTOP,
    bl_PROGRAMS,
    bl_CONTROLS,
    bl_PRINTERS,
    bl_PERSONAL,
    bl_FAVORITES,
    bl_STARTUP,
    bl_RECENT,
    bl_SENDTO,
    bl_BITBUCKET,
    bl_STARTMENU,
    bl_DESKTOPDIRECTORY,
    bl_DRIVES,
    bl_NETWORK,
    bl_NETHOOD,
    bl_FONTS,
    bl_TEMPLATES,
    bl_COMMON_STARTMENU,
    bl_COMMON_PROGRAMS,
    bl_COMMON_STARTUP,
    bl_COMMON_DESKTOPDIRECTORY,
    bl_APPDATA,
    bl_PRINTHOOD
};

/// What a browser tells its callback, and what the callback may send it. The numbers are the shell's.
inline constexpr unsigned bm_Initialized = 1;
inline constexpr unsigned bm_ValidateFailed = 4;
inline constexpr unsigned bm_SetSelection = 1127;
inline constexpr unsigned bm_SetStatusText = 1128;

/// A browser while it runs.
class TFolderBrowserWindow {
public:
    /// `Message` is bm_SetSelection (`Param` 1: `Text` is a path) or bm_SetStatusText; others do nothing.
    virtual void Send(unsigned Message, std::intptr_t Param, const QString& Text) = 0;

protected:
    ~TFolderBrowserWindow() = default;
};

/// What the callback's argument refers to.
struct TBrowseData {
    QString Selection;
    QString StatusText;
};

/// Told what happens in the browser. For bm_ValidateFailed 1 keeps the browser open, 0 closes it.
using TBrowseCallback = std::function<int(TFolderBrowserWindow& Window, unsigned Message,
                                          const QString& Param, const TBrowseData& Data)>;

/// Sets the selection and the status text at the beginning, and keeps the browser open when a name was typed
/// that does not exist.
int BrowseCallbackProc(TFolderBrowserWindow& Window, unsigned Message, const QString& Param,
                       const TBrowseData& Data);

/// What a browser is asked for.
struct TBrowseInfo {
    QWidget* Owner = nullptr;
    std::optional<int> RootFolder; // of the shell's special folders; none: the root's own or the whole
    QString RootPath;              // of bl_CUSTOM
    QString Title;
    unsigned Flags = 0;
    TBrowseCallback Callback;
    TBrowseData Data;
};

struct TBrowsed {
    QString Path;
    QString DisplayName;
};

/// Shows a browser until a person chose or gave up; none: gave up.
using TFolderBrowser = std::function<std::optional<TBrowsed>(const TBrowseInfo& Info)>;

class TBrowseForFolder {
public:
    /// @return whether a folder was chosen; then `FolderName` and `DisplayName` tell it.
    bool Execute();

    /// A folder as root for bl_CUSTOM.
    void SetRoot(const QString& Path) { FRoot = Path; }
    void SetFunction(TBrowseCallback Callback) { FCallback = std::move(Callback); }
    /// In place of the selection and the status text.
    void SetLParam(const TBrowseData& Value) { FData = Value; }
    void SetCaption(const QString& Text) { FCaption = Text; }
    [[nodiscard]] const QString& Caption() const { return FCaption; }
    void SetFlags(const TBrowseFlags& Flags);
    [[nodiscard]] TBrowseFlags GetFlags() const;

    QString FolderName = QStringLiteral("C:\\"); // selected at the beginning, chosen at the end
    QString DisplayName;
    // The misspelling is what people have always read.
    QString StatusText = QStringLiteral("Plase select folder");
    TBrowseLocation Root = bl_STANDART;
    QWidget* OwnerHandle = nullptr;
    /// The browser that is shown; the desktop's own stands in where this is empty.
    TFolderBrowser OnBrowse;

private:
    void SetOperFlag(unsigned Bit, bool On);
    [[nodiscard]] bool GetOperFlag(unsigned Bit) const { return (FOperFlags & Bit) != 0; }

    QString FRoot;
    QString FCaption = QStringLiteral("Select Folder");
    TBrowseCallback FCallback = BrowseCallbackProc;
    std::optional<TBrowseData> FData;
    unsigned FOperFlags = 0;
};

/// Lets a person choose a folder; `Directory` is selected at the beginning and stays as it is without a
/// choice.
/// @return whether one was chosen.
bool ZUSelectDirectory(QWidget* OwnerWindow, const QString& Caption, QString& Directory);

} // namespace zutools
