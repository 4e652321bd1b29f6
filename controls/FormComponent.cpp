#include "controls/FormComponent.h"

#include <QIcon>
#include <QPainter>

namespace zutools {

namespace {

bool BeingDesigned = false; // one Designer in a process

} // namespace

TFormComponent::TFormComponent(QWidget* Form)
    : QWidget(Form) {
    if (!BeingDesigned) hide();
}

void TFormComponent::SetDesigning() {
    BeingDesigned = true;
}

bool TFormComponent::Designing() {
    return BeingDesigned;
}

void TFormComponent::setVisible(bool Visible) {
    QWidget::setVisible(Visible && BeingDesigned);
}

void TFormComponent::paintEvent(QPaintEvent* /*Event*/) {
    QPainter Painter(this);
    Picture().paint(&Painter, rect());
}

} // namespace zutools
