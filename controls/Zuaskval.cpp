#include "controls/Zuaskval.h"

#include "controls/PackageIcons.h"
#include "controls/ParamEditor.h"
#include "core/Lparams.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

namespace zutools {

namespace {

constexpr int DialogCharacters = 50;
constexpr int MostRowsSeen = 14; // more are scrolled

} // namespace

bool TAskValuesDlg::Ask(TParamsList& List, const QString& Title, const QString& Text,
                        std::vector<TParamField> Fields, QWidget* Owner) {
    TAskValuesDlg Dialog(Owner);
    Dialog.setWindowTitle(Title);
    Dialog.SetText(Text);
    Dialog.SetValues(List, std::move(Fields));
    if (Dialog.exec() != Accepted) return false;
    Dialog.StoreTo(List);
    return true;
}

TAskValuesDlg::TAskValuesDlg(QWidget* Owner)
    : QDialog(Owner)
    , FText(new QLabel(this))
    , FWhyLabel(new QLabel(this))
    , FButtons(new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this)) {
    auto* Rows = new QVBoxLayout(this);
    auto* Area = new QScrollArea(this);
    auto* Page = new QWidget(Area);
    FForm = new QFormLayout(Page);
    FForm->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    Area->setWidget(Page);
    Area->setWidgetResizable(true);
    Area->setFrameShape(QFrame::NoFrame);
    Area->setFocusPolicy(Qt::NoFocus);
    for (QLabel* Label : {FText, FWhyLabel}) {
        Label->setTextFormat(Qt::PlainText);
        Label->setWordWrap(true);
    }
    FText->hide();
    FWhyLabel->setObjectName(QStringLiteral("Why"));
    for (QWidget* Row : std::initializer_list<QWidget*>{FText, Area, FWhyLabel, FButtons})
        Rows->addWidget(Row);
    Rows->setStretch(1, 1);
    connect(FButtons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(FButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

void TAskValuesDlg::SetValues(const TParamsList& List, std::vector<TParamField> Fields) {
    while (FForm->rowCount() > 0) FForm->removeRow(0);
    FAsked.clear();
    FFields = TParamFields(FieldsFor(List, std::move(Fields)));
    for (const TParamField& Field : FFields.All()) AddRow(Field, ToQt(List.GetPLValueByName(Field.Name)));
    QWidget* const Page = FForm->parentWidget();
    const int LineHeight = fontMetrics().lineSpacing() * 2;
    const QSize Wanted(
        std::max(Page->sizeHint().width(), fontMetrics().averageCharWidth() * DialogCharacters),
        std::min(Page->sizeHint().height(), LineHeight * MostRowsSeen));
    auto* const Area = Page->parentWidget()->parentWidget(); // the page stands in the area's viewport
    Area->setMinimumSize(Wanted + QSize(style()->pixelMetric(QStyle::PM_ScrollBarExtent), 0));
    if (!FAsked.empty()) FAsked.front().Editor->setFocus();
    Check();
}

void TAskValuesDlg::AddRow(const TParamField& Field, const QString& Value) {
    auto* Row = new QWidget(this);
    auto* Cells = new QHBoxLayout(Row);
    Cells->setContentsMargins({});
    QWidget* const Editor = MakeParamEditor(&Field, Field.Kind, Row);
    const QString Label = ToQt(Field.Shown());
    Editor->setObjectName(ToQt(Field.Name));
    Editor->setAccessibleName(Field.Required ? tr("%1, required").arg(Label) : Label);
    Editor->setToolTip(ToQt(Field.Hint));
    SetParamEditorText(*Editor, Value);
    Cells->addWidget(Editor, 1);
    if (CanChooseParam(Field.Kind)) {
        auto* Choose = new QToolButton(Row);
        Choose->setText(QStringLiteral("…"));
        Choose->setAccessibleName(tr("Choose: %1").arg(Label));
        Choose->setFocusPolicy(Qt::StrongFocus);
        Cells->addWidget(Choose);
        connect(Choose, &QToolButton::clicked, Editor, [this, Editor, Label, Kind = Field.Kind] {
            ChooseParam(Kind, *this, Label, ParamEditorText(*Editor),
                        [Editor](const QString& Chosen) { SetParamEditorText(*Editor, Chosen); });
        });
    }
    auto* Warning = new QLabel(Row);
    const int Side = style()->pixelMetric(QStyle::PM_SmallIconSize);
    Warning->setPixmap(PackageIcon(u"ICOWARNING").pixmap(Side, Side));
    QSizePolicy Keeps = Warning->sizePolicy();
    Keeps.setRetainSizeWhenHidden(true); // nothing jumps while somebody types
    Warning->setSizePolicy(Keeps);
    Cells->addWidget(Warning);
    // "&" is a letter here; the mark says what is required, below the dialog says it in words.
    auto* Caption = new QLabel(QString(Label).replace(u'&', QStringLiteral("&&")) +
                               (Field.Required ? QStringLiteral(" *") : QString()));
    Caption->setTextFormat(Qt::PlainText);
    Caption->setBuddy(Editor);
    FForm->addRow(Caption, Row);
    FAsked.push_back({Editor, Warning});
    WhenParamEdited(*Editor, [this] { Check(); });
}

void TAskValuesDlg::Check() {
    FWhy.clear();
    for (std::size_t I = 0; I < FAsked.size(); ++I) {
        const TParamField& Field = FFields.All()[I];
        const QString Fault =
            FaultText(FFields.Check(Field.Name, ParamEditorText(*FAsked[I].Editor).toStdU16String()));
        FAsked[I].Mark->setVisible(!Fault.isEmpty());
        FAsked[I].Mark->setToolTip(Fault);
        FAsked[I].Editor->setAccessibleDescription(Fault.isEmpty() ? ToQt(Field.Hint) : Fault);
        if (FWhy.isEmpty() && !Fault.isEmpty())
            FWhy = QStringLiteral("%1: %2").arg(ToQt(Field.Shown()), Fault);
    }
    FWhyLabel->setText(FWhy);
    QPushButton* const Ok = FButtons->button(QDialogButtonBox::Ok);
    Ok->setEnabled(FWhy.isEmpty());
    Ok->setToolTip(FWhy);
    Ok->setAccessibleDescription(FWhy);
    emit Edited();
}

void TAskValuesDlg::StoreTo(TParamsList& List) const {
    std::vector<std::u16string> Values;
    for (const TAsked& Asked : FAsked) Values.push_back(ParamEditorText(*Asked.Editor).toStdU16String());
    StoreAnswers(List, FFields.All(), Values);
}

void TAskValuesDlg::SetText(const QString& Value) {
    if (FText->text() == Value) return;
    FText->setText(Value);
    FText->setVisible(!Value.isEmpty());
    emit TextChanged();
}

QString TAskValuesDlg::Text() const {
    return FText->text();
}

QWidget* TAskValuesDlg::Editor(const QString& Name) const {
    for (std::size_t I = 0; I < FAsked.size(); ++I)
        if (FFields.Find(Name.toStdU16String()) == &FFields.All()[I]) return FAsked[I].Editor;
    return nullptr;
}

void TAskValuesDlg::accept() {
    Check();
    if (Valid()) QDialog::accept();
}

} // namespace zutools
