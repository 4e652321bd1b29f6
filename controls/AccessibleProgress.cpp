#include "controls/AccessibleProgress.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QVariant>
#include <QWidget>

namespace zutools {

namespace {

class TAccessibleProgress final : public QAccessibleWidget, public QAccessibleValueInterface {
public:
    TAccessibleProgress(QWidget* Widget, const TProgressSource& Source)
        : QAccessibleWidget(Widget, QAccessible::ProgressBar)
        , FSource(Source) {}

    void* interface_cast(QAccessible::InterfaceType Type) override {
        if (Type == QAccessible::ValueInterface) return static_cast<QAccessibleValueInterface*>(this);
        return QAccessibleWidget::interface_cast(Type);
    }
    [[nodiscard]] QString text(QAccessible::Text Which) const override {
        if (Which == QAccessible::Value) return FSource.ShownProgress().Text;
        const QString Own = QAccessibleWidget::text(Which);
        return Which == QAccessible::Name && Own.isEmpty() ? FSource.ShownProgress().Name : Own;
    }
    [[nodiscard]] QAccessible::State state() const override {
        QAccessible::State Result = QAccessibleWidget::state();
        Result.readOnly = true;
        Result.busy = FSource.ShownProgress().Busy;
        return Result;
    }
    [[nodiscard]] QVariant currentValue() const override { return FSource.ShownProgress().Value; }
    void setCurrentValue(const QVariant& /*Value*/) override {}
    [[nodiscard]] QVariant maximumValue() const override { return FSource.ShownProgress().Maximum; }
    [[nodiscard]] QVariant minimumValue() const override { return FSource.ShownProgress().Minimum; }
    [[nodiscard]] QVariant minimumStepSize() const override { return 1; }

private:
    const TProgressSource& FSource; // the widget itself
};

QAccessibleInterface* MakeAccessible(const QString& /*ClassName*/, QObject* Object) {
    auto* Widget = qobject_cast<QWidget*>(Object);
    const auto* Source = dynamic_cast<const TProgressSource*>(Widget);
    return Source ? new TAccessibleProgress(Widget, *Source) : nullptr;
}

} // namespace

void TellScreenReadersOfProgress() {
    static const bool Installed = (QAccessible::installFactory(MakeAccessible), true);
    static_cast<void>(Installed);
}

void TellProgressChanged(QWidget& Widget) {
    if (!QAccessible::isActive()) return;
    QAccessibleEvent Named(&Widget, QAccessible::NameChanged);
    QAccessible::updateAccessibility(&Named);
    const auto* Source = dynamic_cast<const TProgressSource*>(&Widget);
    QAccessibleValueChangeEvent Changed(&Widget, Source ? Source->ShownProgress().Value : 0);
    QAccessible::updateAccessibility(&Changed);
}

} // namespace zutools
