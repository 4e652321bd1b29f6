// What hand-painted indicators tell screen readers.

#pragma once

#include <QString>

class QWidget;

namespace zutools {

struct TShownProgress {
    QString Name = {}; // for an indicator without an accessible name of its own
    bool Busy = false;
    int Minimum = 0;
    int Maximum = 0; // equal to Minimum: how much is done is not known
    int Value = 0;
    QString Text = {}; // of the value, such as "40 %"
};

/// A widget that shows how work goes on.
class TProgressSource {
public:
    [[nodiscard]] virtual TShownProgress ShownProgress() const = 0;

protected:
    ~TProgressSource() = default;
};

/// From now on screen readers hear of widgets that are a TProgressSource too as of progress bars.
void TellScreenReadersOfProgress();
/// Its name, value or state changed.
void TellProgressChanged(QWidget& Widget);

} // namespace zutools
