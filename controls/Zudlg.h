// A message box built at run time: a text, an icon, buttons with captions of one's own.
//
// For the user-interface thread.

#pragma once

#include "controls/FormComponent.h"
#include "controls/SystemSounds.h"

#include <QColor>
#include <QDialog>
#include <QFont>
#include <QPixmap>
#include <QPointer>
#include <QStringList>

#include <functional>

class QPushButton;

namespace zutools {

/// The package's picture for a button whose caption or glyph has that name, such as "OK" for "&Ok"; "" for
/// any other.
[[nodiscard]] QString ButtonKind(const QString& NameOrCaption);

class TZUDlg : public TFormComponent {
    Q_OBJECT
    Q_PROPERTY(QStringList Buttons READ Buttons WRITE SetButtons NOTIFY ButtonsChanged)
    Q_PROPERTY(QStringList Message READ Message WRITE SetMessage NOTIFY MessageChanged)
    Q_PROPERTY(QString Title READ Title WRITE SetTitle NOTIFY TitleChanged)
    Q_PROPERTY(TWAV WAV READ WAV WRITE SetWAV NOTIFY WAVChanged)
    Q_PROPERTY(QFont Font READ Font WRITE SetFont NOTIFY FontChanged)
    Q_PROPERTY(TDefaultIcons Icon READ Icon WRITE SetIcon NOTIFY IconChanged)
    Q_PROPERTY(QPixmap CustomIcon READ CustomIcon WRITE SetCustomIcon NOTIFY CustomIconChanged)
    Q_PROPERTY(QColor BackColor READ BackColor WRITE SetBackColor NOTIFY BackColorChanged)
    Q_PROPERTY(int Default READ Default WRITE SetDefault NOTIFY DefaultChanged)
    Q_PROPERTY(int Cancel READ Cancel WRITE SetCancel NOTIFY CancelChanged)
    Q_PROPERTY(
        int ButtonsMinWidth READ ButtonsMinWidth WRITE SetButtonsMinWidth NOTIFY ButtonsMinWidthChanged)
    Q_PROPERTY(
        bool ButtonsSameWidth READ ButtonsSameWidth WRITE SetButtonsSameWidth NOTIFY ButtonsSameWidthChanged)
    Q_PROPERTY(
        bool ButtonsShowGlyph READ ButtonsShowGlyph WRITE SetButtonsShowGlyph NOTIFY ButtonsShowGlyphChanged)
    Q_PROPERTY(int ButtonsCursor READ ButtonsCursor WRITE SetButtonsCursor NOTIFY ButtonsCursorChanged)
    Q_PROPERTY(QStringList ButtonsGlyph READ ButtonsGlyph WRITE SetButtonsGlyph NOTIFY ButtonsGlyphChanged)

public:
    enum TDefaultIcons { icCustom, icWarning, icError, icInformation, icConfirmation, icNone };
    Q_ENUM(TDefaultIcons)
    enum TWAV { wavNone, wavFile, wavAsterisk, wavExclamation, wavQuestion, wavDefault, wavResource };
    Q_ENUM(TWAV)

    /// The owner's window stays behind the message box.
    explicit TZUDlg(QWidget* Owner = nullptr);

    /// Shows the message box until a button is pressed; runs the event loop meanwhile.
    /// @return the index of the button; `Cancel` when the window was closed.
    /// @throws Exception "List index out of bounds (-1)" when no button has a caption.
    int Show();

    /// Captions, a button each; "&" stands before the letter of the access key. The first "OK" becomes the
    /// default button and the first "Cancel" or "Abort" the cancel button, while none is chosen yet.
    void SetButtons(const QStringList& List);
    [[nodiscard]] const QStringList& Buttons() const { return FButtons; }
    void SetMessage(const QStringList& List);
    [[nodiscard]] const QStringList& Message() const { return FMessage; }
    void SetTitle(const QString& Value);
    [[nodiscard]] const QString& Title() const { return FTitle; }
    /// The sound when the box appears. Files and resources are not played: the beep stands for them.
    void SetWAV(TWAV Value);
    [[nodiscard]] TWAV WAV() const { return FWAV; }
    void SetFont(const QFont& Value);
    [[nodiscard]] const QFont& Font() const { return FFont; }
    void SetIcon(TDefaultIcons Value);
    [[nodiscard]] TDefaultIcons Icon() const { return FIcon; }
    /// Also chooses it: the icon becomes icCustom.
    void SetCustomIcon(const QPixmap& Value);
    [[nodiscard]] const QPixmap& CustomIcon() const { return FCustomIcon; }
    /// An invalid colour is the palette's colour of buttons.
    void SetBackColor(const QColor& Value);
    [[nodiscard]] const QColor& BackColor() const { return FBackColor; }
    /// Index of the button that Enter presses; -1 none.
    void SetDefault(int Value);
    [[nodiscard]] int Default() const { return FDefault; }
    /// Index of the button that Escape and the close box press; -1 none, then the window has no close box.
    void SetCancel(int Value);
    [[nodiscard]] int Cancel() const { return FCancel; }
    /// In pixels; at least 20.
    void SetButtonsMinWidth(int Value);
    [[nodiscard]] int ButtonsMinWidth() const { return fButtonsMinWidth; }
    void SetButtonsSameWidth(bool Value);
    [[nodiscard]] bool ButtonsSameWidth() const { return fButtonsSameWidth; }
    void SetButtonsShowGlyph(bool Value);
    [[nodiscard]] bool ButtonsShowGlyph() const { return fButtonsShowGlyph; }
    /// A Qt::CursorShape over the buttons; 0 is the usual one.
    void SetButtonsCursor(int Value);
    [[nodiscard]] int ButtonsCursor() const { return FButtonsCursor; }
    /// The kinds of picture a button, by index: "ok", "abort", "all", "cancel", "close", "help", "ignore",
    /// "no", "retry", "yes".
    void SetButtonsGlyph(const QStringList& List);
    [[nodiscard]] const QStringList& ButtonsGlyph() const { return FButtonsGlyph; }

    /// Puts the picture chosen in `ButtonsGlyph` for that index onto the button.
    /// @return false, the button as it was: no picture is chosen there, or its name is unknown.
    bool GetButtonsGlyph(int Index, QPushButton& Button) const;

    /// The window while `Show` runs; null otherwise.
    [[nodiscard]] QDialog* Form() const { return frm; }
    /// The title, the text and the captions as Ctrl+C puts them on the clipboard.
    [[nodiscard]] QString TextForClipboard() const;

    /// Plays in place of the desktop's sound theme.
    std::function<void(TSystemSound Sound)> OnPlaySound = PlaySystemSound;

signals:
    void ButtonsChanged();
    void MessageChanged();
    void TitleChanged();
    void WAVChanged();
    void FontChanged();
    void IconChanged();
    void CustomIconChanged();
    void BackColorChanged();
    void DefaultChanged();
    void CancelChanged();
    void ButtonsMinWidthChanged();
    void ButtonsSameWidthChanged();
    void ButtonsShowGlyphChanged();
    void ButtonsCursorChanged();
    void ButtonsGlyphChanged();

protected:
    [[nodiscard]] QIcon Picture() const override;

private:
    void Build(QDialog& Window);
    [[nodiscard]] QPixmap PictureFor(const QWidget& Window) const;
    [[nodiscard]] QPushButton* MakeButton(QDialog& Window, int Index, const QString& ShownCaption);
    void DialogShow();
    void CheckAndPlayWav() const;
    void FormClose(const QObject& Button);

    QStringList FButtons;
    QStringList FMessage;
    QString FTitle;
    int BtnNo = 0;
    QFont FFont;
    QPointer<QDialog> frm;
    TDefaultIcons FIcon = icNone;
    QColor FBackColor;
    QPixmap FCustomIcon;
    TWAV FWAV = wavNone;
    int fButtonsMinWidth = 75;
    bool fButtonsSameWidth = true;
    bool fButtonsShowGlyph = false;
    int FDefault = -1;
    int FCancel = -1;
    int FButtonsCursor = 0;
    QStringList FButtonsGlyph;
};

} // namespace zutools
