#include "apps/zuforms/Panel.h"
#include "controls/Zuseldir.h"

#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <QVBoxLayout>

namespace zutools::zuforms {

namespace {

// The browser as it appears when it has found the folder, over a tree that is the same everywhere.
QPixmap PictureOf(TBrowseForFolder& Browser) {
    const QString Before = QDir::currentPath();
    const QTemporaryDir Place;
    const QString Goal = QStringLiteral("Orders/2026");
    QDir(Place.path()).mkpath(Goal);
    QDir(Place.path()).mkpath(QStringLiteral("Orders/2025"));
    QDir::setCurrent(Place.path());
    Browser.SetRoot(bl_CUSTOM);
    Browser.SetRoot(QStringLiteral("Orders"));
    Browser.SetFolderName(Goal);
    QPixmap Picture;
    QTimer Looks;
    QObject::connect(&Looks, &QTimer::timeout, &Browser, [&] {
        QWidget* Dialog = QApplication::activeModalWidget();
        const auto* Path = Dialog ? Dialog->findChild<QLineEdit*>(QStringLiteral("Path")) : nullptr;
        if (!Path || Path->text() != Goal) return;
        Picture = Dialog->grab();
        Dialog->close();
    });
    Looks.start(0);
    Browser.Execute();
    QDir::setCurrent(Before);
    return Picture;
}

} // namespace

TShown MakeFolderPanel(QWidget* Parent) {
    auto* Page = new QWidget(Parent);
    auto* Browser = new TBrowseForFolder(Page);
    Browser->setObjectName(QStringLiteral("Folder"));
    Browser->OwnerHandle = Page;
    Browser->SetFlags({bf_statustext, bf_EditBox});
    Browser->SetFolderName(QDir::homePath());
    auto* Show = new QPushButton(Translated("C&hoose a folder"), Page);
    QObject::connect(Show, &QPushButton::clicked, Browser, [Browser] { Browser->Execute(); });
    auto* Layout = new QVBoxLayout(Page);
    Layout->addWidget(Show, 0, Qt::AlignCenter);

    const auto From = [Browser](TBrowseLocation Root) { return [Browser, Root] { Browser->SetRoot(Root); }; };
    const auto With = [Browser](TBrowseFlags Flags) {
        return [Browser, Flags] { Browser->SetFlags(Flags); };
    };
    return {Page,
            Browser,
            {{Translated("Whole computer"), From(bl_DRIVES)},
             {Translated("Own documents"), From(bl_PERSONAL)},
             {Translated("Paths typed"), With(bf_statustext | bf_EditBox)},
             {Translated("Tree only"), With({})}},
            [Browser] { return PictureOf(*Browser); }};
}

} // namespace zutools::zuforms
