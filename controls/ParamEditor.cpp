#include "controls/ParamEditor.h"

#include "controls/Zufpchooser.h"

#include <QCalendarWidget>
#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QCoreApplication>
#include <QDate>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QVBoxLayout>

namespace zutools {

namespace {

constexpr int MaskDots = 8; // whatever the length of the secret is
constexpr QChar Dot(u'•');
constexpr QChar LineBreakMark(u'↵');
const QString YesText = QStringLiteral("True");
const QString NoText = QStringLiteral("False");

QString ParamText(const char* Text) {
    return QCoreApplication::translate("TParams", Text);
}

// The choices, and what the value is when that is none of them: nothing is lost by looking at it.
class TChoiceEditor final : public QComboBox {
public:
    TChoiceEditor(const TParamField& Field, QWidget* Parent)
        : QComboBox(Parent) {
        if (!Field.Required) addItem(QString());
        for (const std::u16string& Choice : Field.Choices) addItem(ToQt(Choice));
        setCurrentIndex(-1);
    }
    void SetText(const QString& Text) {
        int Index = findText(Text, Qt::MatchExactly | Qt::MatchCaseSensitive);
        if (Index < 0 && !Text.isEmpty()) {
            Index = count();
            addItem(Text);
        }
        setCurrentIndex(Index);
    }
};

void ChooseDate(QWidget& Parent, const QString& Title, const QString& Value,
                const std::function<void(const QString&)>& Chosen) {
    auto* Dialog = new QDialog(&Parent);
    Dialog->setWindowTitle(Title);
    auto* Rows = new QVBoxLayout(Dialog);
    auto* Calendar = new QCalendarWidget(Dialog);
    Calendar->setAccessibleName(Title);
    if (const QDate Date = QDate::fromString(Value, Qt::ISODate); Date.isValid())
        Calendar->setSelectedDate(Date);
    auto* Buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, Dialog);
    Rows->addWidget(Calendar);
    Rows->addWidget(Buttons);
    QObject::connect(Buttons, &QDialogButtonBox::accepted, Dialog, &QDialog::accept);
    QObject::connect(Buttons, &QDialogButtonBox::rejected, Dialog, &QDialog::reject);
    QObject::connect(Calendar, &QCalendarWidget::activated, Dialog, &QDialog::accept);
    QObject::connect(Dialog, &QDialog::accepted, &Parent,
                     [Calendar, Chosen] { Chosen(Calendar->selectedDate().toString(Qt::ISODate)); });
    Dialog->setAttribute(Qt::WA_DeleteOnClose);
    Dialog->open();
}

} // namespace

QString FaultText(const TParamFault& Fault) {
    const QString Text = ToQt(Fault.Text);
    switch (Fault.Kind) {
    case TParamFaultKind::None:
        return {};
    case TParamFaultKind::NameWanted:
        return ParamText("A name is wanted");
    case TParamFaultKind::NameUnfit:
        return ParamText("A name cannot hold \"=\" or a line break");
    case TParamFaultKind::NameTwice:
        return ParamText("Another row has this name; the last value counts");
    case TParamFaultKind::ValueWanted:
        return ParamText("A value is wanted");
    case TParamFaultKind::LineBreak:
        return ParamText("A value cannot hold a line break");
    case TParamFaultKind::NotNumber:
        return ParamText("A number is wanted, such as 12 or 1.5");
    case TParamFaultKind::TooSmall:
        return ParamText("The least is %1").arg(Text);
    case TParamFaultKind::TooLarge:
        return ParamText("The most is %1").arg(Text);
    case TParamFaultKind::NotDate:
        return ParamText("A date is wanted: year-month-day, such as 2026-12-31");
    case TParamFaultKind::NotChoice:
        return ParamText("This is none of the choices");
    case TParamFaultKind::NotColor:
        return ParamText("A colour is wanted, such as #1f6fd0");
    case TParamFaultKind::NotYesNo:
        return ParamText("True or False is wanted");
    case TParamFaultKind::Refused:
        return Text.isEmpty() ? ParamText("This value is not allowed") : Text;
    }
    return {};
}

QString ShownValue(TParamKind Kind, std::u16string_view Value) {
    if (Value.empty()) return {};
    if (Kind == TParamKind::Secret) return QString(MaskDots, Dot);
    QString Shown = ToQt(Value);
    Shown.replace(QStringLiteral("\r\n"), LineBreakMark);
    Shown.replace(u'\n', LineBreakMark);
    Shown.replace(u'\r', LineBreakMark);
    return Shown;
}

QWidget* MakeParamEditor(const TParamField* Field, TParamKind Kind, QWidget* Parent) {
    if (Kind == TParamKind::Choice && Field != nullptr) return new TChoiceEditor(*Field, Parent);
    if (Kind == TParamKind::YesNo) return new QCheckBox(Parent);
    if (Kind == TParamKind::File) {
        auto* Edit = new TZUFPChooserEdit(Parent);
        Edit->SetCompletion(TZUFPChooserEdit::cmFiles);
        return Edit;
    }
    auto* Edit = new QLineEdit(Parent);
    if (Kind == TParamKind::Secret) Edit->setEchoMode(QLineEdit::Password);
    if (Kind == TParamKind::Number) Edit->setInputMethodHints(Qt::ImhFormattedNumbersOnly);
    if (Kind == TParamKind::Date) Edit->setPlaceholderText(ParamText("YYYY-MM-DD"));
    if (Kind == TParamKind::Color) Edit->setPlaceholderText(QStringLiteral("#rrggbb"));
    return Edit;
}

QString ParamEditorText(const QWidget& Editor) {
    if (const auto* Check = qobject_cast<const QCheckBox*>(&Editor))
        return Check->isChecked() ? YesText : NoText;
    if (const auto* Combo = qobject_cast<const QComboBox*>(&Editor)) return Combo->currentText();
    const auto* Edit = qobject_cast<const QLineEdit*>(&Editor);
    return Edit != nullptr ? Edit->text() : QString();
}

void SetParamEditorText(QWidget& Editor, const QString& Text) {
    if (auto* Check = qobject_cast<QCheckBox*>(&Editor))
        Check->setChecked(YesOrNo(Text.toStdU16String()).value_or(false));
    else if (auto* Choice = dynamic_cast<TChoiceEditor*>(&Editor))
        Choice->SetText(Text);
    else if (auto* Combo = qobject_cast<QComboBox*>(&Editor))
        Combo->setEditText(Text);
    else if (auto* Edit = qobject_cast<QLineEdit*>(&Editor))
        Edit->setText(Text);
}

void WhenParamEdited(QWidget& Editor, std::function<void()> Edited) {
    if (auto* Check = qobject_cast<QCheckBox*>(&Editor))
        QObject::connect(Check, &QCheckBox::toggled, Check, std::move(Edited));
    else if (auto* Combo = qobject_cast<QComboBox*>(&Editor))
        QObject::connect(Combo, &QComboBox::currentTextChanged, Combo, std::move(Edited));
    else if (auto* Edit = qobject_cast<QLineEdit*>(&Editor))
        QObject::connect(Edit, &QLineEdit::textChanged, Edit, std::move(Edited));
}

bool CanChooseParam(TParamKind Kind) {
    return Kind == TParamKind::Date || Kind == TParamKind::File || Kind == TParamKind::Color;
}

void ChooseParam(TParamKind Kind, QWidget& Parent, const QString& Title, const QString& Value,
                 std::function<void(const QString& Value)> Chosen) {
    if (Kind == TParamKind::Date) return ChooseDate(Parent, Title, Value, Chosen);
    if (Kind == TParamKind::Color) {
        auto* Dialog = new QColorDialog(QColor(Value), &Parent);
        Dialog->setWindowTitle(Title);
        Dialog->setAttribute(Qt::WA_DeleteOnClose);
        QObject::connect(Dialog, &QColorDialog::colorSelected, &Parent,
                         [Chosen = std::move(Chosen)](const QColor& Color) { Chosen(Color.name()); });
        return Dialog->open();
    }
    if (Kind != TParamKind::File) return;
    auto* Dialog = new QFileDialog(&Parent, Title, Value);
    Dialog->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(Dialog, &QFileDialog::fileSelected, &Parent,
                     [Chosen = std::move(Chosen)](const QString& File) { Chosen(File); });
    Dialog->open();
}

} // namespace zutools
