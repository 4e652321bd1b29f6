#include "apps/zuforms/Panel.h"
#include "controls/Zuwaver.h"

#include <QPainter>
#include <QVBoxLayout>

namespace zutools::zuforms {

TShown MakeWavePanel(QWidget* Parent) {
    auto* Page = new QWidget(Parent);
    auto* Layout = new QVBoxLayout(Page);
    auto* Wave = new TZUWavePanel(Page);
    Wave->setObjectName(QStringLiteral("Wave"));
    Wave->SetCaption(Translated("Loading orders"));
    Wave->SetActive(true);
    Layout->addWidget(Wave);
    Layout->addStretch(1);

    const auto Turned = [Wave](TZUWavePanel::TDirection Direction) {
        return [Wave, Direction] { Wave->SetDirection(Direction); };
    };
    return {Page,
            Wave,
            {{Translated("To the right"), Turned(TZUWavePanel::drLeftToRight)},
             {Translated("To the left"), Turned(TZUWavePanel::drRightToLeft)},
             {Translated("Downwards"), Turned(TZUWavePanel::drTopToBottom)},
             {Translated("Upwards"), Turned(TZUWavePanel::drBottomToTop)}}};
}

} // namespace zutools::zuforms
