#include "controls/Zudlg.h"

#include "controls/ChangedField.h"
#include "controls/DlgLayout.h"
#include "controls/PackageIcons.h"

#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QContextMenuEvent>
#include <QFontMetrics>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QStyle>
#include <QTimer>

#include <algorithm>

namespace zutools {

namespace {

constexpr int PictureSide = 32;
constexpr int GlyphSide = 16;
constexpr int LeastButtonsMinWidth = 20;
constexpr int MostButtonWidth = 1 << 20; // of a button, whatever was set
const QString ButtonPrefix = QStringLiteral("btn");
constexpr qsizetype ButtonNumberDigits = 5;

QString WithoutAccessKey(const QString& Caption) {
    return QString(Caption).remove(u'&');
}

QString IconName(TZUDlg::TDefaultIcons Icon) {
    switch (Icon) {
    case TZUDlg::icWarning:
        return QStringLiteral("ICOWARNING");
    case TZUDlg::icError:
        return QStringLiteral("ICOERROR");
    case TZUDlg::icInformation:
        return QStringLiteral("ICOINFORMATION");
    case TZUDlg::icConfirmation:
        return QStringLiteral("ICOCONFIRMATION");
    case TZUDlg::icCustom:
    case TZUDlg::icNone:
        break;
    }
    return {};
}

// What a screen reader says of the icon.
QString IconMeaning(TZUDlg::TDefaultIcons Icon) {
    switch (Icon) {
    case TZUDlg::icWarning:
        return TZUDlg::tr("Warning");
    case TZUDlg::icError:
        return TZUDlg::tr("Error");
    case TZUDlg::icInformation:
        return TZUDlg::tr("Information");
    case TZUDlg::icConfirmation:
        return TZUDlg::tr("Question");
    case TZUDlg::icCustom:
    case TZUDlg::icNone:
        break;
    }
    return {};
}

// The window of a message box. It answers with a button only, and to keys only that were pressed for it.
class TDlgWindow final : public QDialog {
public:
    using TShown = std::function<void()>;

    TDlgWindow(QWidget* Parent, const TZUDlg& Source, TShown Shown)
        : QDialog(Parent)
        , FSource(Source)
        , FShown(std::move(Shown)) {}

    void SetClosable(bool Value) {
        FClosable = Value;
        setWindowFlag(Qt::WindowSystemMenuHint, Value);
        setWindowFlag(Qt::WindowCloseButtonHint, Value);
    }
    void Guard(QWidget& Child) { Child.installEventFilter(this); }

    void reject() override {
        if (FClosable) QDialog::reject();
    }

protected:
    void showEvent(QShowEvent* Event) override {
        QDialog::showEvent(Event);
        FShown();
        // What was typed before the box could be seen stands in the queue now and is dropped.
        QTimer::singleShot(0, this, [this] { FListens = true; });
    }
    void closeEvent(QCloseEvent* Event) override {
        if (FClosable)
            QDialog::closeEvent(Event);
        else
            Event->ignore();
    }
    void keyPressEvent(QKeyEvent* Event) override {
        if (Event->matches(QKeySequence::Copy))
            Copy();
        else if (Takes(*Event))
            QDialog::keyPressEvent(Event);
    }
    void contextMenuEvent(QContextMenuEvent* Event) override {
        QMenu Menu(this);
        Menu.addAction(TZUDlg::tr("&Copy"), QKeySequence::Copy, this, [this] { Copy(); });
        Menu.exec(Event->globalPos());
    }
    bool eventFilter(QObject* Watched, QEvent* Event) override {
        switch (Event->type()) {
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
            return !Takes(*static_cast<QKeyEvent*>(Event));
        case QEvent::Shortcut:
            return !FListens;
        default:
            return QDialog::eventFilter(Watched, Event);
        }
    }

private:
    // A key held down since before the box appeared repeats into it: it counts from its next press.
    bool Takes(const QKeyEvent& Event) {
        if (!FListens) return false;
        if (Event.type() == QEvent::KeyPress && !Event.isAutoRepeat()) FFreshKey = true;
        return FFreshKey;
    }
    void Copy() const { QApplication::clipboard()->setText(FSource.TextForClipboard()); }

    const TZUDlg& FSource;
    TShown FShown;
    bool FClosable = false;
    bool FListens = false;
    bool FFreshKey = false;
};

// A text higher than the screen is scrolled, so that the buttons are never out of reach.
void KeepOnScreen(TDlgLayout& Layout, int AvailableHeight, bool& Scrolled) {
    const int Excess = Layout.Window.height() - AvailableHeight;
    Scrolled = Excess > 0 && Layout.Label.height() > Excess;
    if (!Scrolled) return;
    Layout.Label.setHeight(Layout.Label.height() - Excess);
    for (QRect& Button : Layout.Buttons) Button.translate(0, -Excess);
    Layout.Window.setHeight(AvailableHeight);
}

QWidget* Scrolling(QLabel* Text, QWidget& Window) {
    auto* Area = new QScrollArea(&Window);
    Area->setFrameShape(QFrame::NoFrame);
    Area->setWidgetResizable(true);
    Area->setWidget(Text);
    Area->viewport()->setAutoFillBackground(false);
    return Area;
}

} // namespace

QString ButtonKind(const QString& NameOrCaption) {
    static const QStringList Kinds{QStringLiteral("ok"),     QStringLiteral("abort"), QStringLiteral("all"),
                                   QStringLiteral("cancel"), QStringLiteral("close"), QStringLiteral("help"),
                                   QStringLiteral("ignore"), QStringLiteral("no"),    QStringLiteral("retry"),
                                   QStringLiteral("yes")};
    const QString Name = WithoutAccessKey(NameOrCaption).toLower();
    return Kinds.contains(Name) ? Name.toUpper() : QString();
}

TZUDlg::TZUDlg(QWidget* Owner)
    : TFormComponent(Owner)
    , FButtons{QStringLiteral("&OK"), QStringLiteral("&Cancel")} {}

int TZUDlg::Show() {
    DropTrailingCaptions(FButtons);
    TDlgWindow Window(parentWidget() ? parentWidget()->window() : QApplication::activeWindow(), *this,
                      [this] { DialogShow(); });
    frm = &Window;
    Build(Window);
    const bool Closable = FCancel >= 0 && FCancel < FButtons.size();
    Window.SetClosable(Closable);
    // Kept on purpose: without a cancel button the index of the Show before is still here.
    if (Closable) BtnNo = FCancel;
    Window.exec();
    return BtnNo;
}

void TZUDlg::Build(QDialog& Window) {
    Window.setFont(FFont);
    Window.setWindowTitle(FTitle);
    QPalette Palette = Window.palette();
    Palette.setColor(QPalette::Window, FBackColor.isValid() ? FBackColor : Palette.color(QPalette::Button));
    Window.setPalette(Palette);

    const QPixmap Picture = PictureFor(Window);
    const QStringList Shown = UniqueAccessKeys(FButtons);
    TDlgInput Input;
    Input.Message = FMessage;
    if (FIcon != icNone) Input.Picture = Picture.deviceIndependentSize().toSize();
    Input.Captions = FButtons;
    std::vector<QPushButton*> Buttons;
    for (int I = 0; I < FButtons.size(); ++I) {
        Buttons.push_back(MakeButton(Window, I, Shown[I]));
        static_cast<TDlgWindow&>(Window).Guard(*Buttons.back());
        Input.GlyphWidths.push_back(Buttons.back()->icon().isNull() ? 0 : Buttons.back()->iconSize().width());
    }
    Input.ButtonsMinWidth = std::min(fButtonsMinWidth, MostButtonWidth);
    Input.ButtonsSameWidth = fButtonsSameWidth;
    const QRect Screen = Window.screen()->geometry();
    Input.ScreenWidth = Screen.width();

    const QFontMetrics Metrics(Window.font());
    TDlgLayout Layout = LayOutDlg(
        Input, {[&](const QString& Line) { return Metrics.horizontalAdvance(Line); },
                Metrics.boundingRect(QStringLiteral("W")).isEmpty() ? 0 : Metrics.height(),
                [&](const QString& Text, int Width) {
                    return Metrics.boundingRect(QRect(0, 0, Width, 0), Qt::TextWordWrap, Text).height();
                }});
    bool Scrolled = false;
    KeepOnScreen(Layout, Window.screen()->availableGeometry().height(), Scrolled);

    const auto Mirrored = [&](const QRect& Rect) {
        return QStyle::visualRect(Window.layoutDirection(), QRect(QPoint(), Layout.Window), Rect);
    };
    auto* Text = new QLabel(QString(Layout.Text).replace(u'\r', u'\n'), &Window);
    Text->setTextFormat(Qt::PlainText);
    Text->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    Text->setWordWrap(Layout.WordWrap);
    QWidget* Place = Scrolled ? Scrolling(Text, Window) : Text;
    Place->setGeometry(Mirrored(Layout.Label));
    if (FIcon != icNone) {
        auto* Image = new QLabel(&Window);
        Image->setPixmap(Picture);
        Image->setAccessibleName(IconMeaning(FIcon));
        Image->setGeometry(Mirrored(QRect(Layout.Picture, *Input.Picture)));
    }
    for (std::size_t I = 0; I < Buttons.size(); ++I) Buttons[I]->setGeometry(Mirrored(Layout.Buttons[I]));

    Window.setAccessibleDescription(Text->text());
    Window.setFixedSize(Layout.Window);
    Window.move(Screen.center() - QPoint(Layout.Window.width() / 2, Layout.Window.height() / 2));
}

QIcon TZUDlg::Picture() const {
    return PackageIcon(u"ICOCONFIRMATION");
}

QPixmap TZUDlg::PictureFor(const QWidget& Window) const {
    if (FIcon == icNone) return {};
    if (FIcon == icCustom) return FCustomIcon;
    return PackageIcon(IconName(FIcon)).pixmap(QSize(PictureSide, PictureSide), Window.devicePixelRatioF());
}

QPushButton* TZUDlg::MakeButton(QDialog& Window, int Index, const QString& ShownCaption) {
    auto* Button = new QPushButton(ShownCaption, &Window);
    Button->setObjectName(ButtonPrefix + QString::number(Index));
    Button->setIconSize(QSize(GlyphSide, GlyphSide));
    if (FButtonsCursor != 0) Button->setCursor(static_cast<Qt::CursorShape>(FButtonsCursor));
    if (fButtonsShowGlyph && !GetButtonsGlyph(Index, *Button))
        Button->setIcon(PackageIcon(ButtonKind(FButtons[Index])));
    Button->setAutoDefault(false);
    Button->setDefault(Index == FDefault);
    connect(Button, &QPushButton::clicked, this, [this, Button] { FormClose(*Button); });
    return Button;
}

bool TZUDlg::GetButtonsGlyph(int Index, QPushButton& Button) const {
    if (Index < 0 || Index >= FButtonsGlyph.size()) return false;
    const QString Kind = ButtonKind(FButtonsGlyph[Index]);
    if (Kind.isEmpty()) return false;
    Button.setIcon(PackageIcon(Kind));
    return true;
}

void TZUDlg::DialogShow() {
    // Without a default button the window itself has the focus, so that no key presses a button by accident.
    frm->setFocus();
    for (int I = 0; I < FButtons.size(); ++I) {
        auto* Button = frm->findChild<QPushButton*>(ButtonPrefix + QString::number(I));
        Button->setAutoDefault(true); // Enter presses the button that has the focus
        if (I == FDefault) Button->setFocus();
    }
    CheckAndPlayWav();
}

void TZUDlg::CheckAndPlayWav() const {
    switch (FWAV) {
    case wavNone:
        return;
    case wavAsterisk:
        return OnPlaySound(TSystemSound::Asterisk);
    case wavExclamation:
        return OnPlaySound(TSystemSound::Exclamation);
    case wavQuestion:
        return OnPlaySound(TSystemSound::Question);
    // Kept on purpose: no file and no resource is ever played, the beep stands for them.
    case wavFile:
    case wavDefault:
    case wavResource:
        return OnPlaySound(TSystemSound::Beep);
    }
}

void TZUDlg::FormClose(const QObject& Button) {
    BtnNo = Button.objectName().mid(ButtonPrefix.size(), ButtonNumberDigits).toInt();
    frm->accept();
}

QString TZUDlg::TextForClipboard() const {
    QStringList Captions;
    std::ranges::transform(FButtons, std::back_inserter(Captions), WithoutAccessKey);
    const QString Gap = QStringLiteral("\n\n");
    return FTitle + Gap + FMessage.join(u'\n') + Gap + Captions.join(QStringLiteral("   ")) + u'\n';
}

void TZUDlg::SetButtons(const QStringList& List) {
    FButtons = List;
    const int DefaultBefore = FDefault;
    const int CancelBefore = FCancel;
    // Kept on purpose: an index found in an earlier list stays.
    for (int I = 0; I < FButtons.size(); ++I) {
        const QString Caption = WithoutAccessKey(FButtons[I]).toUpper();
        if (FDefault < 0 && Caption == u"OK") FDefault = I;
        if (FCancel < 0 && (Caption == u"CANCEL" || Caption == u"ABORT")) FCancel = I;
    }
    emit ButtonsChanged();
    if (FDefault != DefaultBefore) emit DefaultChanged();
    if (FCancel != CancelBefore) emit CancelChanged();
}

void TZUDlg::SetCustomIcon(const QPixmap& Value) {
    FCustomIcon = Value;
    emit CustomIconChanged();
    SetIcon(icCustom);
}

void TZUDlg::SetButtonsMinWidth(int Value) {
    SetField(*this, fButtonsMinWidth, std::max(Value, LeastButtonsMinWidth), &TZUDlg::ButtonsMinWidthChanged);
}

void TZUDlg::SetMessage(const QStringList& List) {
    SetField(*this, FMessage, List, &TZUDlg::MessageChanged);
}

void TZUDlg::SetTitle(const QString& Value) {
    SetField(*this, FTitle, Value, &TZUDlg::TitleChanged);
}

void TZUDlg::SetWAV(TWAV Value) {
    SetField(*this, FWAV, Value, &TZUDlg::WAVChanged);
}

void TZUDlg::SetFont(const QFont& Value) {
    SetField(*this, FFont, Value, &TZUDlg::FontChanged);
}

void TZUDlg::SetIcon(TDefaultIcons Value) {
    SetField(*this, FIcon, Value, &TZUDlg::IconChanged);
}

void TZUDlg::SetBackColor(const QColor& Value) {
    SetField(*this, FBackColor, Value, &TZUDlg::BackColorChanged);
}

void TZUDlg::SetDefault(int Value) {
    SetField(*this, FDefault, Value, &TZUDlg::DefaultChanged);
}

void TZUDlg::SetCancel(int Value) {
    SetField(*this, FCancel, Value, &TZUDlg::CancelChanged);
}

void TZUDlg::SetButtonsSameWidth(bool Value) {
    SetField(*this, fButtonsSameWidth, Value, &TZUDlg::ButtonsSameWidthChanged);
}

void TZUDlg::SetButtonsShowGlyph(bool Value) {
    SetField(*this, fButtonsShowGlyph, Value, &TZUDlg::ButtonsShowGlyphChanged);
}

void TZUDlg::SetButtonsCursor(int Value) {
    SetField(*this, FButtonsCursor, Value, &TZUDlg::ButtonsCursorChanged);
}

void TZUDlg::SetButtonsGlyph(const QStringList& List) {
    SetField(*this, FButtonsGlyph, List, &TZUDlg::ButtonsGlyphChanged);
}

} // namespace zutools
