// A component that a form holds and nobody sees on it: shown in Qt Designer only, as its picture.
//
// For the user-interface thread.

#pragma once

#include <QWidget>

class QIcon;

namespace zutools {

class TFormComponent : public QWidget {
    Q_OBJECT

public:
    /// Stands on a form and belongs to it; null: on none.
    explicit TFormComponent(QWidget* Form);

    [[nodiscard]] QSize sizeHint() const override { return {32, 32}; }
    void setVisible(bool Visible) override;

    /// From now on components are being designed: they are seen, and do nothing by themselves. For Designer's
    /// plug-in.
    static void SetDesigning();
    [[nodiscard]] static bool Designing();

protected:
    void paintEvent(QPaintEvent* Event) override;
    [[nodiscard]] virtual QIcon Picture() const = 0;
};

} // namespace zutools
