// A top-level widget as a form: what TKXFormStorage places and listens to.
//
//     TQtForm& Form = QtForm(*this);     // in any QWidget, QDialog or QMainWindow
//     Form.OnShow = [](TObject&) { ... };
//
// A widget in a QMdiSubWindow is an MDI child: the sub-window is what is placed. For the user-interface
// thread.

#pragma once

#include "controls/QtObjects.h"
#include "persistence/Forms.h"

#include <QWidget>

#include <optional>

namespace zutools {

/// `NormalPosition` begins at the corner of the window's frame and has the size of what lies within the
/// frame: the two that Qt can set before a window has a frame. A full screen counts as maximized.
class TQtForm final : public TQtAdapter<TForm> {
public:
    ~TQtForm() override;

    [[nodiscard]] QWidget& Widget() const { return FWidget; }
    /// The objectName; without one, the class's name without its namespace.
    [[nodiscard]] std::u16string Name() const override;
    /// Itself too.
    [[nodiscard]] TComponent* FindComponent(std::u16string_view ComponentName) const override;

    [[nodiscard]] TWindowPlacement Placement() const override;
    void SetPlacement(const TWindowPlacement& Value) override;
    [[nodiscard]] TRect Bounds() const override;
    [[nodiscard]] bool Visible() const override;
    [[nodiscard]] bool HasWindow() const override;
    [[nodiscard]] TWindowState WindowState() const override;
    void SetWindowState(TWindowState Value) override;
    /// Takes effect when the form is shown next, or at the end of its being shown.
    void NoteWindowState(TWindowState Value) override { FNoted = Value; }
    [[nodiscard]] TFormBorderStyle BorderStyle() const override;
    [[nodiscard]] TFormStyle FormStyle() const override;
    /// Designed once something placed the window, else the window system's choice of the place alone.
    [[nodiscard]] TPosition Position() const override;
    void SetPosition(TPosition Value) override;
    [[nodiscard]] bool Designing() const override { return FDesigning; }
    void SetDesigning(bool Value) override { FDesigning = Value; }
    [[nodiscard]] std::u16string ActiveControl() const override;
    void Update() override { FWidget.update(); }

private:
    friend TQtForm& QtForm(QWidget& Widget);
    friend class TQtFormEvents;

    explicit TQtForm(QWidget& Widget);
    [[nodiscard]] QWidget& Window() const;
    [[nodiscard]] bool IsDialog() const;
    void NoteFrame();
    void Shown();
    [[nodiscard]] bool Closed(QEvent& Event);
    void Hidden();
    void Destroyed();
    bool CloseQuery();
    template <class TAction>
    void Guarded(TAction Action);

    QWidget& FWidget;
    QMetaObject::Connection FGone;
    QPoint FFrame;                            // of the frame's corner to the window's, when it was seen last
    std::optional<TWindowPlacement> FClosing; // how it was when it began to close, while it does
    std::optional<TWindowState> FNoted;
    std::optional<TPosition> FPosition;
    bool FAsked = false; // and it agreed to close, since it was shown
    bool FDesigning = false;
};

/// The form of a widget, made when it is asked for first; it dies with the widget. The events of the widget
/// call its OnShow before the widget's own showEvent and before there is anything to see, its OnCloseQuery
/// after the widget's own closeEvent agreed (and for a dialog that is done otherwise, which it cannot stop),
/// and OnDestroy while the widgets on it still live. What they raise is told by TQtApplication.
[[nodiscard]] TQtForm& QtForm(QWidget& Widget);

} // namespace zutools
