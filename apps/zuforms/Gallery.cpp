#include "apps/zuforms/Gallery.h"

#include "apps/zuforms/EventLog.h"
#include "apps/zuforms/Inspector.h"
#include "controls/QtFormStorage.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTabWidget>
#include <QVBoxLayout>

namespace zutools::zuforms {

TGallery::TGallery(const QString& Store) {
    setObjectName(QStringLiteral("Gallery"));
    setWindowTitle(Translated("ZuTools: the controls"));
    auto* Outer = new QSplitter(this);
    Outer->setObjectName(QStringLiteral("Outer"));
    setCentralWidget(Outer);

    FList = new QListWidget(Outer);
    FList->setObjectName(QStringLiteral("Panels"));
    FList->setAccessibleName(Translated("Panels"));
    for (const TPanel& Panel : Panels()) FList->addItem(QLatin1String(Panel.Title));

    auto* Page = new QWidget(Outer);
    auto* Rows = new QVBoxLayout(Page);
    FAbout = new QLabel(Page);
    FAbout->setWordWrap(true);
    FPlace = new QWidget(Page);
    new QVBoxLayout(FPlace);
    FStates = new QWidget(Page);
    new QHBoxLayout(FStates);
    auto* Tabs = new QTabWidget(Page);
    FInspector = new TInspector(Tabs);
    FSample = new QPlainTextEdit(Tabs);
    FSample->setReadOnly(true);
    FSample->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    FSample->setAccessibleName(Translated("Sample"));
    FEvents = new TEventLog(Tabs);
    Tabs->setObjectName(QStringLiteral("Tabs"));
    Tabs->addTab(FInspector, Translated("&Properties"));
    Tabs->addTab(FSample, Translated("Sa&mple"));
    Tabs->addTab(FEvents, Translated("&Events"));
    Rows->addWidget(FAbout);
    Rows->addWidget(FPlace, 1);
    Rows->addWidget(FStates);
    Rows->addWidget(Tabs, 2);
    Outer->setStretchFactor(1, 1);

    connect(FList, &QListWidget::currentRowChanged, this, [this](int Row) {
        if (Row >= 0) Show(Panels()[static_cast<std::size_t>(Row)]);
    });
    FList->setCurrentRow(0);
    resize(sizeHint().expandedTo(QSize(fontMetrics().averageCharWidth() * 110, fontMetrics().height() * 36)));
    if (Store.isEmpty()) return;
    auto* Storage =
        new TQtFormStorage(this, {QStringLiteral("Outer.Sizes"), QStringLiteral("Panels.currentRow"),
                                  QStringLiteral("Tabs.currentIndex")});
    Storage->setIniFileName(Store);
}

void TGallery::Open(const TPanel& Panel) {
    FList->setCurrentRow(static_cast<int>(&Panel - Panels().data()));
}

void TGallery::Show(const TPanel& Panel) {
    delete FShown;
    const TShown Shown = Panel.Make(FPlace);
    FShown = Shown.Widget;
    FPlace->layout()->addWidget(FShown);
    FAbout->setText(Translated(Panel.About));
    FSample->setPlainText(SampleOf(Panel));
    FInspector->Show(*Shown.Control);
    FEvents->Listen(*Shown.Control);
    ShowStates(Shown);
}

void TGallery::ShowStates(const TShown& Shown) {
    qDeleteAll(FStates->findChildren<QPushButton*>());
    for (const TState& State : Shown.States) {
        auto* Button = new QPushButton(State.Name, FStates);
        connect(Button, &QPushButton::clicked, Shown.Control, State.Apply);
        FStates->layout()->addWidget(Button);
    }
}

} // namespace zutools::zuforms
