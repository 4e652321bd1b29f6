#include "controls/HotKeys.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QKeySequenceEdit>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>
#include <QWidget>

#include <algorithm>

namespace zutools {

namespace {

bool Clash(const QKeySequence& Left, const QKeySequence& Right) {
    if (Left.isEmpty() || Right.isEmpty()) return false;
    return Left.matches(Right) != QKeySequence::NoMatch || Right.matches(Left) != QKeySequence::NoMatch;
}

QString ActionText(const QAction& Action) {
    return Action.text().remove(u'&').remove(QStringLiteral("…"));
}

// The keys of all actions, a line each; OK only while no two are alike.
class THotKeysDialog final : public QDialog {
public:
    THotKeysDialog(THotKeys& Keys, QWidget& Parent)
        : QDialog(&Parent)
        , FKeys(Keys) {
        setWindowTitle(THotKeys::tr("Hot keys"));
        auto* Rows = new QVBoxLayout(this);
        auto* Area = new QScrollArea(this);
        auto* Page = new QWidget(Area);
        auto* Form = new QFormLayout(Page);
        for (QAction* Action : Keys.Actions()) {
            auto* Edit = new QKeySequenceEdit(Action->shortcut(), Page);
            Edit->setObjectName(Action->objectName());
            Edit->setAccessibleName(ActionText(*Action));
            Form->addRow(ActionText(*Action), Edit);
            connect(Edit, &QKeySequenceEdit::keySequenceChanged, this, [this] { Check(); });
            FEdits.push_back(Edit);
        }
        Area->setWidget(Page);
        Area->setWidgetResizable(true);
        FConflict = new QLabel(this);
        FConflict->setObjectName(QStringLiteral("Conflict"));
        FConflict->setWordWrap(true);
        FConflict->setTextFormat(Qt::PlainText);
        FButtons = new QDialogButtonBox(
            QDialogButtonBox::Ok | QDialogButtonBox::Cancel | QDialogButtonBox::RestoreDefaults, this);
        for (QWidget* Row : std::initializer_list<QWidget*>{Area, FConflict, FButtons}) Rows->addWidget(Row);
        connect(FButtons, &QDialogButtonBox::accepted, this, &QDialog::accept);
        connect(FButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
        connect(FButtons->button(QDialogButtonBox::RestoreDefaults), &QPushButton::clicked, this, [this] {
            for (std::size_t I = 0; I < FEdits.size(); ++I)
                FEdits[I]->setKeySequence(FKeys.UsualKey(*FKeys.Actions()[I]));
        });
        Check();
    }

    void accept() override {
        QStringList Lines;
        for (std::size_t I = 0; I < FEdits.size(); ++I)
            Lines += FKeys.Actions()[I]->objectName() + u'=' +
                     FEdits[I]->keySequence().toString(QKeySequence::PortableText);
        FKeys.SetChanges(Lines);
        QDialog::accept();
    }

private:
    // The first conflict, if any: with another line, or with an action of the window outside.
    [[nodiscard]] QString Conflict() const {
        for (std::size_t I = 0; I < FEdits.size(); ++I) {
            const QKeySequence Key = FEdits[I]->keySequence();
            const QAction& Action = *FKeys.Actions()[I];
            QString Other;
            for (std::size_t J = 0; J < I && Other.isEmpty(); ++J)
                if (Clash(Key, FEdits[J]->keySequence())) Other = ActionText(*FKeys.Actions()[J]);
            if (Other.isEmpty()) Other = FKeys.OutsideHolder(Key);
            if (Other.isEmpty()) continue;
            return THotKeys::tr("%1 is the key of \"%2\" and of \"%3\"")
                .arg(Key.toString(QKeySequence::NativeText), Other, ActionText(Action));
        }
        return {};
    }
    void Check() {
        const QString Told = Conflict();
        FConflict->setText(Told);
        FButtons->button(QDialogButtonBox::Ok)->setEnabled(Told.isEmpty());
        FButtons->button(QDialogButtonBox::Ok)->setToolTip(Told);
    }

    THotKeys& FKeys;
    std::vector<QKeySequenceEdit*> FEdits;
    QLabel* FConflict;
    QDialogButtonBox* FButtons;
};

} // namespace

THotKeys::THotKeys(QWidget& Place)
    : QObject(&Place)
    , FPlace(Place) {}

QAction& THotKeys::Add(const QString& Name, const QString& Text, const QKeySequence& Key,
                       std::function<void()> Do) {
    auto* Action = new QAction(Text, &FPlace);
    Action->setObjectName(Name);
    Action->setShortcut(Key);
    Action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    Action->setShortcutVisibleInContextMenu(true);
    connect(Action, &QAction::triggered, this, std::move(Do));
    FPlace.addAction(Action);
    FActions.push_back(Action);
    FUsual.push_back(Key);
    return *Action;
}

QAction* THotKeys::Find(const QString& Name) const {
    const auto Found =
        std::ranges::find_if(FActions, [&](const QAction* Action) { return Action->objectName() == Name; });
    return Found == FActions.end() ? nullptr : *Found;
}

QKeySequence THotKeys::UsualKey(const QAction& Action) const {
    const auto Found = std::ranges::find(FActions, &Action);
    return Found == FActions.end() ? QKeySequence()
                                   : FUsual[static_cast<std::size_t>(Found - FActions.begin())];
}

QAction* THotKeys::OwnHolder(const QKeySequence& Key, const QAction* Except) const {
    const auto Found = std::ranges::find_if(
        FActions, [&](const QAction* Action) { return Action != Except && Clash(Action->shortcut(), Key); });
    return Found == FActions.end() ? nullptr : *Found;
}

QString THotKeys::OutsideHolder(const QKeySequence& Key) const {
    for (const QAction* Action : FPlace.window()->findChildren<QAction*>()) {
        const auto& Own = FActions;
        if (std::ranges::find(Own, Action) != Own.end() || !Clash(Action->shortcut(), Key)) continue;
        // The keys of other controls hold there.
        if (Action->shortcutContext() == Qt::WindowShortcut ||
            Action->shortcutContext() == Qt::ApplicationShortcut)
            return ActionText(*Action);
    }
    return {};
}

QString THotKeys::Holder(const QKeySequence& Key, const QAction* Except) const {
    if (const QAction* Own = OwnHolder(Key, Except)) return ActionText(*Own);
    return OutsideHolder(Key);
}

bool THotKeys::SetKey(QAction& Action, const QKeySequence& Key) {
    if (!Holder(Key, &Action).isEmpty()) return false;
    if (Action.shortcut() == Key) return true;
    Action.setShortcut(Key);
    emit Changed();
    return true;
}

QStringList THotKeys::Changes() const {
    QStringList Lines;
    for (std::size_t I = 0; I < FActions.size(); ++I)
        if (FActions[I]->shortcut() != FUsual[I])
            Lines += FActions[I]->objectName() + u'=' +
                     FActions[I]->shortcut().toString(QKeySequence::PortableText);
    return Lines;
}

QStringList THotKeys::SetChanges(const QStringList& Lines) {
    const QStringList Before = Changes();
    QStringList Conflicts;
    for (QAction* Action : FActions) Action->setShortcut({});
    std::vector<const QAction*> Given;
    const auto Give = [&](QAction& Action, const QKeySequence& Key) {
        Given.push_back(&Action);
        if (const QAction* Other = OwnHolder(Key, &Action))
            Conflicts +=
                tr("%1 is the key of \"%2\" already: \"%3\" has none")
                    .arg(Key.toString(QKeySequence::NativeText), ActionText(*Other), ActionText(Action));
        else
            Action.setShortcut(Key);
    };
    for (const QString& Line : Lines) {
        QAction* const Action = Find(Line.section(u'=', 0, 0));
        if (Action == nullptr || std::ranges::find(Given, Action) != Given.end()) continue;
        Give(*Action, QKeySequence::fromString(Line.section(u'=', 1), QKeySequence::PortableText));
    }
    for (std::size_t I = 0; I < FActions.size(); ++I)
        if (std::ranges::find(Given, FActions[I]) == Given.end()) Give(*FActions[I], FUsual[I]);
    if (Changes() != Before) emit Changed();
    return Conflicts;
}

void THotKeys::Edit() {
    auto* Dialog = new THotKeysDialog(*this, FPlace);
    Dialog->setAttribute(Qt::WA_DeleteOnClose);
    Dialog->open();
}

} // namespace zutools
