// A form, its application and its screens, as stored placements know them. What has windows implements these:
// the Qt adapter of the controls, a window of Windows, a double in tests.
//
// For the user-interface thread only. Sizes and places are in the pixels of the windowing system.

#pragma once

#include "host/Components.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace zutools {

struct TPoint {
    int X = 0, Y = 0;
    friend bool operator==(const TPoint&, const TPoint&) = default;
};

/// `Right` and `Bottom` are the first that lie outside.
struct TRect {
    int Left = 0, Top = 0, Right = 0, Bottom = 0;
    friend bool operator==(const TRect&, const TRect&) = default;
};

enum class TWindowState : std::uint8_t { wsNormal, wsMinimized, wsMaximized };
enum class TFormBorderStyle : std::uint8_t {
    bsNone,
    bsSingle,
    bsSizeable,
    bsDialog,
    bsToolWindow,
    bsSizeToolWin
};
enum class TFormStyle : std::uint8_t { fsNormal, fsMDIChild, fsMDIForm, fsStayOnTop };
enum class TPosition : std::uint8_t {
    poDesigned,
    poDefault,
    poDefaultPosOnly,
    poDefaultSizeOnly,
    poScreenCenter,
    poDesktopCenter,
    poMainFormCenter,
    poOwnerFormCenter,
};

/// Show commands, by the numbers that are stored.
enum TShowCommand : int {
    swHide = 0,
    swShowNormal = 1,
    swShowMinimized = 2,
    swShowMaximized = 3,
    swShow = 5,
    swMinimize = 6,
    swShowMinNoActive = 7,
    swRestore = 9,
};

inline constexpr int wpfSetMinPosition = 1; // a flag of a placement: its minimized place counts

struct TWindowPlacement {
    int Flags = 0;
    int ShowCmd = swShowNormal;
    TPoint MinPosition, MaxPosition; // where its corner is when minimized, when maximized
    TRect NormalPosition;            // where it is otherwise
    friend bool operator==(const TWindowPlacement&, const TWindowPlacement&) = default;
};

class TForm : public TComponent {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;
    using TComponent::TComponent;

    [[nodiscard]] virtual TWindowPlacement Placement() const = 0;
    virtual void SetPlacement(const TWindowPlacement& Value) = 0;
    /// Where the form is, or will be when its window is made.
    [[nodiscard]] virtual TRect Bounds() const = 0;
    [[nodiscard]] virtual bool Visible() const = 0;
    [[nodiscard]] virtual bool HasWindow() const = 0;
    [[nodiscard]] virtual TWindowState WindowState() const = 0;
    virtual void SetWindowState(TWindowState Value) = 0;
    /// Notes the state without an effect on the window.
    virtual void NoteWindowState(TWindowState Value) = 0;
    [[nodiscard]] virtual TFormBorderStyle BorderStyle() const = 0;
    [[nodiscard]] virtual TFormStyle FormStyle() const = 0;
    [[nodiscard]] virtual TPosition Position() const = 0;
    virtual void SetPosition(TPosition Value) = 0; // moves the window unless the form is being designed
    [[nodiscard]] virtual bool Designing() const = 0;
    virtual void SetDesigning(bool Value) = 0;
    /// The name of the control that has the focus; empty when none has.
    [[nodiscard]] virtual std::u16string ActiveControl() const = 0;
    virtual void Update() = 0;

    // What the form calls when it is shown, when it is asked to close, and before it is destroyed.
    std::function<void(TObject& Sender)> OnShow;
    std::function<void(TObject& Sender, bool& CanClose)> OnCloseQuery;
    std::function<void(TObject& Sender)> OnDestroy;
};

class TFormApplication {
public:
    virtual ~TFormApplication() = default;
    /// The full path of the running program.
    [[nodiscard]] virtual std::u16string ExecutableName() const = 0;
    [[nodiscard]] virtual const TForm* MainForm() const = 0; // null when there is none
    [[nodiscard]] virtual bool IsMinimized() const = 0;
    /// Minimizes the whole application, some time after the call.
    virtual void Minimize() = 0;
    virtual void SetBusyCursor(bool Busy) = 0;
    /// Tells a person; may wait for their answer.
    virtual void ShowException(const std::exception& Error) = 0;
    /// Of the first screen.
    [[nodiscard]] virtual TPoint ScreenSize() const = 0;
    [[nodiscard]] virtual int PixelsPerInch() const = 0;
    /// The part of each present screen that windows may cover, the first screen's first.
    [[nodiscard]] virtual std::vector<TRect> WorkAreas() const = 0;
    /// The height of a window's title bar.
    [[nodiscard]] virtual int TitleHeight() const = 0;
};

/// The window, moved the least that leaves its title bar in reach: as high as one of the areas and so far
/// inside that it can be taken with the mouse. Its size stays. Without an area it stays where it is.
[[nodiscard]] TRect Reachable(const TRect& Window, std::span<const TRect> WorkAreas, int TitleHeight);

} // namespace zutools
