// A field for the path of a file or a folder: label, drop-down with earlier paths, button.
//
// For the user-interface thread. What the file system is asked is asked on threads of its own: a path on a
// dead mount holds up no form.

#pragma once

#include "controls/ChooserLayout.h"

#include <QComboBox>
#include <QPointer>
#include <QWidget>

#include <functional>

class QLabel;
class QToolButton;

namespace zutools {

/// The drop-down: earlier paths, those that are not there now told apart; completion while typing; a file may
/// be dropped on it.
class TZUFPChooserEdit : public QComboBox {
    Q_OBJECT

public:
    enum TCompletion { cmNone, cmFiles, cmFolders };

    explicit TZUFPChooserEdit(QWidget* Owner = nullptr);

    void SetCompletion(TCompletion Value);
    [[nodiscard]] TCompletion Completion() const { return FCompletion; }
    /// Asks which of the items are there; the others are shown as missing when the answer comes.
    void CheckItems();

signals:
    void ItemsChecked();

protected:
    void dragEnterEvent(QDragEnterEvent* Event) override;
    void dropEvent(QDropEvent* Event) override;
    void showPopup() override;

private:
    void Complete(const QString& Typed);
    void Ask();
    void Suggest(const QString& Typed, const QStringList& Paths);

    TCompletion FCompletion = cmNone;
    QString FBefore; // the text before the last key, to tell typing from deleting
    QString FWanted; // what is to be completed; empty: nothing
    bool FAsking = false;
};

class TZUFPChooser : public QWidget {
    Q_OBJECT
    Q_PROPERTY(Qt::Alignment Alignment READ Alignment WRITE SetAlignment NOTIFY AlignmentChanged)
    Q_PROPERTY(TAnchors Anchors READ Anchors WRITE SetAnchors NOTIFY AnchorsChanged)
    Q_PROPERTY(
        TLabelPosition LabelPosition READ LabelPosition WRITE SetLabelPosition NOTIFY LabelPositionChanged)
    Q_PROPERTY(int LabelSpacing READ LabelSpacing WRITE SetLabelSpacing NOTIFY LabelSpacingChanged)
    Q_PROPERTY(QString InfoText READ InfoText WRITE SetInfoText NOTIFY InfoTextChanged)
    Q_PROPERTY(QStringList HistoryList READ HistoryList WRITE SetHistoryList NOTIFY HistoryListChanged)
    Q_PROPERTY(TZUFPChooserObjectType ObjectType READ ObjectType WRITE SetObjectType NOTIFY ObjectTypeChanged)
    Q_PROPERTY(QString OpenDialogCaption READ OpenDialogCaption WRITE SetOpenDialogCaption NOTIFY
                   OpenDialogCaptionChanged)
    Q_PROPERTY(QString Text READ Text WRITE SetText NOTIFY onChange USER true)
    Q_PROPERTY(int HorzIndent READ HorzIndent WRITE SetHorzIndent NOTIFY HorzIndentChanged)
    Q_PROPERTY(int VertIndent READ VertIndent WRITE SetVertIndent NOTIFY VertIndentChanged)

public:
    enum TZUFPChooserObjectType { otFile, otDirectory };
    Q_ENUM(TZUFPChooserObjectType)
    enum TLabelPosition { lpAbove, lpBelow, lpLeft, lpRight };
    Q_ENUM(TLabelPosition)
    enum TAnchorKind { akLeft = 1, akTop = 2, akRight = 4, akBottom = 8 };
    Q_DECLARE_FLAGS(TAnchors, TAnchorKind)
    Q_FLAG(TAnchors)

    explicit TZUFPChooser(QWidget* Owner = nullptr);

    /// Lets a person choose in a dialog. @return whether something was chosen; then it is the text.
    bool Choose();

    void SetAlignment(Qt::Alignment Value); // of the label's text
    [[nodiscard]] Qt::Alignment Alignment() const;
    /// The sides of the parent that the chooser keeps its distance from, where no layout places it.
    void SetAnchors(TAnchors Value);
    [[nodiscard]] TAnchors Anchors() const { return FAnchors; }
    /// Sets the objectName. On a form that is being designed a label and a text that were the name follow it,
    /// and so does an empty label.
    void SetName(const QString& Value) { setObjectName(Value); }
    /// Takes effect at the next layout: when the size, an indent or the kind of object changes.
    void SetLabelPosition(TLabelPosition Value);
    [[nodiscard]] TLabelPosition LabelPosition() const { return FLabelPosition; }
    /// Pixels between label and drop-down; takes effect at the next layout.
    void SetLabelSpacing(int Value);
    [[nodiscard]] int LabelSpacing() const { return FLabelSpacing; }
    void SetInfoText(const QString& Value);
    [[nodiscard]] QString InfoText() const;
    /// A first line becomes the text.
    void SetHistoryList(const QStringList& List);
    [[nodiscard]] QStringList HistoryList() const;
    void SetObjectType(TZUFPChooserObjectType Value);
    [[nodiscard]] TZUFPChooserObjectType ObjectType() const { return FObjectType; }
    void SetOpenDialogCaption(const QString& Value);
    [[nodiscard]] const QString& OpenDialogCaption() const { return FOpenDialogCaption; }
    void SetText(const QString& Value);
    [[nodiscard]] QString Text() const;
    void SetHorzIndent(int Value);
    [[nodiscard]] int HorzIndent() const { return FHorzIndent; }
    void SetVertIndent(int Value);
    [[nodiscard]] int VertIndent() const { return FVertIndent; }

    [[nodiscard]] bool ControlsCreated() const { return EditLabel && ValueEdit && ChooseButton; }
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

    /// Where files and folders are chosen: a title and the text so far; the text on success. The defaults are
    /// the desktop's dialogs.
    using TChooser = std::function<bool(QWidget* Window, const QString& Title, QString& Path)>;
    TChooser OnChooseFile;
    TChooser KX_SelectDirectory;

signals:
    void AlignmentChanged();
    void AnchorsChanged();
    void LabelPositionChanged();
    void LabelSpacingChanged();
    void InfoTextChanged();
    void HistoryListChanged();
    void ObjectTypeChanged();
    void OpenDialogCaptionChanged();
    void onChange();
    void HorzIndentChanged();
    void VertIndentChanged();

protected:
    void resizeEvent(QResizeEvent* Event) override;
    void changeEvent(QEvent* Event) override;
    bool event(QEvent* Event) override;
    bool eventFilter(QObject* Watched, QEvent* Event) override;

private:
    void CreateControls();
    void Renamed(const QString& Name);
    void WatchParent();
    void SetControlsParams();
    void CorrectControlsPositions();
    [[nodiscard]] TChooserParts Parts() const;

    TAnchors FAnchors{akLeft, akTop};
    QPointer<QWidget> FParent; // whose size is watched
    QString FName;             // the objectName until it changes
    TLabelPosition FLabelPosition = lpAbove;
    int FLabelSpacing = 3;
    TZUFPChooserObjectType FObjectType = otFile;
    QString FOpenDialogCaption;
    int FHorzIndent = 0;
    int FVertIndent = 0;
    bool InternalSizeCorrection = false;
    QLabel* EditLabel = nullptr;
    TZUFPChooserEdit* ValueEdit = nullptr;
    QToolButton* ChooseButton = nullptr;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(TZUFPChooser::TAnchors)

} // namespace zutools
