#include "controls/QtForm.h"

#include "controls/QtApplication.h"
#include "host/StringHelpers.h"

#include <QApplication>
#include <QDialog>
#include <QEvent>
#include <QLayout>
#include <QMainWindow>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPointer>
#include <QScreen>
#include <QWindow>

#include <utility>

namespace zutools {

namespace {

constexpr Qt::WindowStates Large = Qt::WindowMaximized | Qt::WindowFullScreen;
constexpr Qt::WindowStates NotNormal = Large | Qt::WindowMinimized;

Qt::WindowState FlagOf(TWindowState State) {
    switch (State) {
    case TWindowState::wsMinimized:
        return Qt::WindowMinimized;
    case TWindowState::wsMaximized:
        return Qt::WindowMaximized;
    case TWindowState::wsNormal:
        break;
    }
    return Qt::WindowNoState;
}

} // namespace

// ---- events

/// Hears the events of all forms at the application, before every filter of theirs: only there is it known
/// what all of them and the window itself made of a close event.
class TQtFormEvents final : public QObject {
public:
    static void Start() {
        static QPointer<TQtFormEvents> Events; // goes with the application
        if (Events != nullptr) return;
        Events = new TQtFormEvents;
        Events->setParent(qApp);
        qApp->installEventFilter(Events);
    }

    bool eventFilter(QObject* Watched, QEvent* Event) override {
        const QEvent::Type Type = Event->type();
        const bool Moved = Type == QEvent::Move || Type == QEvent::Resize || Type == QEvent::WindowActivate;
        if (!Moved && Type != QEvent::Close && Type != QEvent::Show && Type != QEvent::Hide) return false;
        auto* const Form = dynamic_cast<TQtForm*>(KnownQtComponent(Watched));
        if (Form == nullptr || Form->FClosing) return false;
        if (Moved) {
            Form->NoteFrame();
            return false;
        }
        if (Type == QEvent::Close) return Form->Closed(*Event);
        if (Event->spontaneous()) return false; // the window system took it away or brought it back
        if (Type == QEvent::Show)
            Form->Shown();
        else
            Form->Hidden();
        return false;
    }
};

template <class TAction>
void TQtForm::Guarded(TAction Action) {
    try {
        Action();
    } catch (const std::exception& Error) {
        TQtApplication::Instance().ShowException(Error);
    }
}

void TQtForm::Shown() {
    FAsked = false;
    Guarded([this] {
        if (OnShow) OnShow(*this);
    });
    if (FNoted) SetWindowState(*std::exchange(FNoted, std::nullopt));
}

bool TQtForm::CloseQuery() {
    bool CanClose = true;
    Guarded([&] {
        if (OnCloseQuery) OnCloseQuery(*this, CanClose);
    });
    return CanClose;
}

// True when the event was delivered here.
bool TQtForm::Closed(QEvent& Event) {
    if (IsDialog() && !FWidget.isVisible()) return false; // it is done already: Hidden
    const QPointer<QWidget> Alive(&FWidget);
    FClosing = Placement();
    qApp->notify(&FWidget, &Event); // as it came: spontaneous or not
    if (Alive == nullptr) return true;
    if (Event.isAccepted()) Event.setAccepted(CloseQuery());
    FAsked = Event.isAccepted();
    FClosing.reset();
    return true;
}

// A dialog that is done by itself closes without being asked.
void TQtForm::Hidden() {
    if (!IsDialog() || FAsked) return;
    FClosing = Placement();
    CloseQuery();
    FClosing.reset();
}

void TQtForm::Destroyed() {
    Guarded([this] {
        if (OnDestroy) OnDestroy(*this);
    });
    delete this;
}

// ---- the form

TQtForm::TQtForm(QWidget& Widget)
    : TQtAdapter(Widget, nullptr)
    , FWidget(Widget) {
    TQtFormEvents::Start();
    RegisterQtComponent(Widget, *this);
    AddGlobalComponent(*this);
    FGone = QObject::connect(&Widget, &QObject::destroyed, [this] { Destroyed(); });
    TQtApplication& Application = TQtApplication::Instance();
    if (Application.MainForm() == nullptr && !IsDialog()) Application.SetMainForm(this);
}

TQtForm::~TQtForm() {
    QObject::disconnect(FGone);
    ForgetQtComponent(FWidget);
    TQtApplication& Application = TQtApplication::Instance();
    if (Application.MainForm() == this) Application.SetMainForm(nullptr);
}

std::u16string TQtForm::Name() const {
    const QString Name = FWidget.objectName();
    if (!Name.isEmpty()) return Name.toStdU16String();
    const QString Class = QString::fromLatin1(FWidget.metaObject()->className());
    return Class.mid(Class.lastIndexOf(u':') + 1).toStdU16String();
}

TComponent* TQtForm::FindComponent(std::u16string_view ComponentName) const {
    if (SameText(ComponentName, Name())) return const_cast<TQtForm*>(this);
    return TQtAdapter::FindComponent(ComponentName);
}

bool TQtForm::IsDialog() const {
    return qobject_cast<const QDialog*>(&FWidget) != nullptr;
}

// Not every state has the same frame, and what is kept is the place that the window has with its normal one.
void TQtForm::NoteFrame() {
    const QWidget& Own = Window();
    if ((Own.windowState() & NotNormal) == 0) FFrame = Own.geometry().topLeft() - Own.pos();
}

QWidget& TQtForm::Window() const {
    auto* const Child = qobject_cast<QMdiSubWindow*>(FWidget.parentWidget());
    return Child != nullptr ? *Child : FWidget;
}

TRect TQtForm::Bounds() const {
    const QWidget& Own = Window();
    const bool Normal = (Own.windowState() & NotNormal) == 0;
    const QPoint Corner = Normal ? Own.pos() : Own.normalGeometry().topLeft() - FFrame;
    const QSize Size = Normal ? Own.size() : Own.normalGeometry().size();
    return {Corner.x(), Corner.y(), Corner.x() + Size.width(), Corner.y() + Size.height()};
}

TWindowPlacement TQtForm::Placement() const {
    if (FClosing) return *FClosing;
    TWindowPlacement Now{0, swShowNormal, {-1, -1}, {-1, -1}, Bounds()};
    if (WindowState() == TWindowState::wsMinimized) Now.ShowCmd = swShowMinimized;
    if (WindowState() == TWindowState::wsMaximized) Now.ShowCmd = swShowMaximized;
    return Now;
}

void TQtForm::SetPlacement(const TWindowPlacement& Value) {
    QWidget& Own = Window();
    const Qt::WindowStates Before = Own.windowState();
    if ((Before & NotNormal) != 0) Own.setWindowState(Before & ~NotNormal);
    const TRect& Normal = Value.NormalPosition;
    Own.resize(Normal.Right - Normal.Left, Normal.Bottom - Normal.Top);
    Own.move(Normal.Left, Normal.Top);
    // Before a window is mapped nobody knows its frame: the window manager must be told that the place is the
    // frame's, or the window wanders by its frame at every showing.
    if (QWindow* const Handle = Own.windowHandle(); Handle != nullptr && !Handle->isVisible())
        Handle->setFramePosition({Normal.Left, Normal.Top});
    if ((Before & NotNormal) != 0) Own.setWindowState(Before);
}

bool TQtForm::Visible() const {
    return FClosing || FWidget.isVisible();
}

bool TQtForm::HasWindow() const {
    return Window().testAttribute(Qt::WA_WState_Created);
}

TWindowState TQtForm::WindowState() const {
    const Qt::WindowStates State = Window().windowState();
    if ((State & Qt::WindowMinimized) != 0) return TWindowState::wsMinimized;
    return (State & Large) != 0 ? TWindowState::wsMaximized : TWindowState::wsNormal;
}

void TQtForm::SetWindowState(TWindowState Value) {
    if (Value == WindowState()) return; // a full screen stays one
    QWidget& Own = Window();
    // A window that is minimized comes back as large as it was.
    const Qt::WindowStates Kept =
        Own.windowState() &
        (Value == TWindowState::wsMinimized ? ~Qt::WindowStates(Qt::WindowMinimized) : ~NotNormal);
    Own.setWindowState(Kept | FlagOf(Value));
}

TFormBorderStyle TQtForm::BorderStyle() const {
    const QWidget& Own = Window();
    const bool IsTool = Own.windowType() == Qt::Tool;
    if ((Own.windowFlags() & Qt::FramelessWindowHint) != 0) return TFormBorderStyle::bsNone;
    const bool IsFixed = Own.minimumSize() == Own.maximumSize() ||
                         (Own.windowFlags() & Qt::MSWindowsFixedSizeDialogHint) != 0 ||
                         (Own.layout() != nullptr && Own.layout()->sizeConstraint() == QLayout::SetFixedSize);
    if (IsTool) return IsFixed ? TFormBorderStyle::bsToolWindow : TFormBorderStyle::bsSizeToolWin;
    return IsFixed ? TFormBorderStyle::bsDialog : TFormBorderStyle::bsSizeable;
}

TFormStyle TQtForm::FormStyle() const {
    if (&Window() != &FWidget) return TFormStyle::fsMDIChild;
    const auto* const Main = qobject_cast<const QMainWindow*>(&FWidget);
    if (Main != nullptr && qobject_cast<QMdiArea*>(Main->centralWidget()) != nullptr)
        return TFormStyle::fsMDIForm;
    return (FWidget.windowFlags() & Qt::WindowStaysOnTopHint) != 0 ? TFormStyle::fsStayOnTop
                                                                   : TFormStyle::fsNormal;
}

TPosition TQtForm::Position() const {
    if (FPosition) return *FPosition;
    return Window().testAttribute(Qt::WA_Moved) ? TPosition::poDesigned : TPosition::poDefaultPosOnly;
}

void TQtForm::SetPosition(TPosition Value) {
    FPosition = Value;
    const bool Centers = Value == TPosition::poScreenCenter || Value == TPosition::poDesktopCenter;
    if (FDesigning || !Centers) return;
    QWidget& Own = Window();
    const QScreen& Screen = *Own.screen();
    const QRect Area =
        Value == TPosition::poScreenCenter ? Screen.availableGeometry() : Screen.availableVirtualGeometry();
    Own.move(Area.center() - QRect(QPoint(), Own.size()).center());
}

std::u16string TQtForm::ActiveControl() const {
    const QWidget* const Focused = FWidget.focusWidget();
    return Focused == nullptr ? std::u16string() : Focused->objectName().toStdU16String();
}

TQtForm& QtForm(QWidget& Widget) {
    TComponent* const Known = KnownQtComponent(&Widget);
    if (auto* const Form = dynamic_cast<TQtForm*>(Known)) return *Form;
    delete Known; // it was taken for a mere component: who holds that is told
    return *new TQtForm(Widget);
}

} // namespace zutools
