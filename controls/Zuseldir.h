// Lets a person choose a folder below a root.
//
// For the user-interface thread.

#pragma once

#include "controls/FormComponent.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <optional>

namespace zutools {

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

class TBrowseForFolder : public TFormComponent {
    Q_OBJECT
    Q_PROPERTY(QString DisplayName READ DisplayName WRITE SetDisplayName NOTIFY DisplayNameChanged)
    Q_PROPERTY(QString StatusText READ StatusText WRITE SetStatusText NOTIFY StatusTextChanged)
    Q_PROPERTY(QString FolderName READ FolderName WRITE SetFolderName NOTIFY FolderNameChanged USER true)
    Q_PROPERTY(TBrowseFlags Flags READ GetFlags WRITE SetFlags NOTIFY FlagsChanged)
    Q_PROPERTY(TBrowseLocation Root READ Root WRITE SetRoot NOTIFY RootChanged)
    Q_PROPERTY(QString Caption READ Caption WRITE SetCaption NOTIFY CaptionChanged)

public:
    /// Each is the shell's own bit.
    enum TBrowseFlag {
        bf_BrowseForComputer = 0x1000,
        bf_BrowseForPrinter = 0x2000,
        bf_DontGoBelowDomain = 0x2,
        bf_statustext = 0x4,
        bf_ReturnFSanceStors = 0x8,
        bf_ReturnOnlyFSDIRS = 0x1,
        bf_EditBox = 0x10
    };
    Q_DECLARE_FLAGS(TBrowseFlags, TBrowseFlag)
    Q_FLAG(TBrowseFlags)
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
    Q_ENUM(TBrowseLocation)

    explicit TBrowseForFolder(QWidget* Owner = nullptr)
        : TFormComponent(Owner) {}

    /// @return whether a folder was chosen; then `FolderName` and `DisplayName` tell it.
    bool Execute();

    /// A folder as root for bl_CUSTOM.
    void SetRoot(const QString& Path) { FRoot = Path; }
    void SetFunction(TBrowseCallback Callback) { FCallback = std::move(Callback); }
    /// In place of the selection and the status text.
    void SetLParam(const TBrowseData& Value) { FData = Value; }
    void SetFlags(TBrowseFlags Value);
    [[nodiscard]] TBrowseFlags GetFlags() const;

    void SetCaption(const QString& Text);
    [[nodiscard]] const QString& Caption() const { return FCaption; }
    /// Of the chosen folder.
    void SetDisplayName(const QString& Value);
    [[nodiscard]] const QString& DisplayName() const { return FDisplayName; }
    void SetStatusText(const QString& Value);
    [[nodiscard]] const QString& StatusText() const { return FStatusText; }
    /// Selected at the beginning, chosen at the end.
    void SetFolderName(const QString& Value);
    [[nodiscard]] const QString& FolderName() const { return FFolderName; }
    void SetRoot(TBrowseLocation Value);
    [[nodiscard]] TBrowseLocation Root() const { return FORoot; }

    QWidget* OwnerHandle = nullptr;
    /// The browser that is shown; the desktop's own stands in where this is empty.
    TFolderBrowser OnBrowse;

signals:
    void DisplayNameChanged();
    void StatusTextChanged();
    void FolderNameChanged();
    void FlagsChanged();
    void RootChanged();
    void CaptionChanged();

protected:
    [[nodiscard]] QIcon Picture() const override;

private:
    void SetOperFlag(unsigned Bit, bool On);
    [[nodiscard]] bool GetOperFlag(unsigned Bit) const { return (FOperFlags & Bit) != 0; }

    QString FRoot;
    QString FDisplayName;
    // The misspelling is what people have always read.
    QString FStatusText = QStringLiteral("Plase select folder");
    QString FFolderName = QStringLiteral("C:\\");
    TBrowseLocation FORoot = bl_STANDART;
    QString FCaption = QStringLiteral("Select Folder");
    TBrowseCallback FCallback = BrowseCallbackProc;
    std::optional<TBrowseData> FData;
    unsigned FOperFlags = 0;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(TBrowseForFolder::TBrowseFlags)

using TBrowseFlag = TBrowseForFolder::TBrowseFlag;
using TBrowseFlags = TBrowseForFolder::TBrowseFlags;
using TBrowseLocation = TBrowseForFolder::TBrowseLocation;
using enum TBrowseForFolder::TBrowseFlag;
using enum TBrowseForFolder::TBrowseLocation;

/// Lets a person choose a folder; `Directory` is selected at the beginning and stays as it is without a
/// choice.
/// @return whether one was chosen.
bool ZUSelectDirectory(QWidget* OwnerWindow, const QString& Caption, QString& Directory);

} // namespace zutools
