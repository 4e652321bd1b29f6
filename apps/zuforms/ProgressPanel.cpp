#include "apps/zuforms/Panel.h"
#include "controls/Zuprogress.h"

#include <QHBoxLayout>
#include <QMetaEnum>
#include <QVBoxLayout>

namespace zutools::zuforms {

TShown MakeProgressPanel(QWidget* Parent) {
    auto* Page = new QWidget(Parent);
    auto* Columns = new QHBoxLayout(Page);
    auto* Rows = new QVBoxLayout;
    Columns->addLayout(Rows, 1);
    auto* Main = new TZUProgress(Page);
    Main->setObjectName(QStringLiteral("Progress"));
    Main->setAccessibleName(Translated("Progress"));
    Main->setValue(65);
    Rows->addWidget(Main);

    const auto Styles = QMetaEnum::fromType<TZUProgress::TColorStyle>();
    for (int I = 0; I + 1 < Styles.keyCount(); ++I) {
        auto* Bar = new TZUProgress(Page);
        Bar->setColorStyle(static_cast<TZUProgress::TColorStyle>(Styles.value(I)));
        Bar->setFormat(QLatin1String(Styles.key(I)) + QStringLiteral(" %p%"));
        Bar->setAccessibleName(QLatin1String(Styles.key(I)));
        Bar->setValue(20 + 10 * I);
        Rows->addWidget(Bar);
    }
    auto* Unknown = new TZUProgress(Page);
    Unknown->setRange(0, 0);
    Unknown->setAccessibleName(Translated("Unknown end"));
    Rows->addWidget(Unknown);
    auto* Standing = new TZUProgress(Page);
    Standing->setOrientation(Qt::Vertical);
    Standing->setColorStyle(TZUProgress::csAmber);
    Standing->setAccessibleName(Translated("Standing"));
    Standing->setValue(40);
    Columns->addWidget(Standing);

    return {Page,
            Main,
            {{Translated("Empty"), [Main] { Main->reset(); }},
             {Translated("Half done"),
              [Main] {
                  Main->setRange(0, 100);
                  Main->setValue(50);
              }},
             {Translated("Done"),
              [Main] {
                  Main->setRange(0, 100);
                  Main->setValue(100);
              }},
             {Translated("Unknown end"), [Main] { Main->setRange(0, 0); }}}};
}

} // namespace zutools::zuforms
