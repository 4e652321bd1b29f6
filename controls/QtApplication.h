// The running Qt application as stored placements know one.
//
// For the user-interface thread. Places and sizes are Qt's device-independent pixels: a screen of 3840x2160
// at 200 % is 1920x1080 here, and its density 192.

#pragma once

#include "persistence/Forms.h"

#include <functional>

namespace zutools {

class TQtApplication final : public TFormApplication {
public:
    /// The one of this process; a QApplication must be there when it is used.
    [[nodiscard]] static TQtApplication& Instance();

    /// Minimized in place of the application. The first form that is no dialog, unless told otherwise.
    void SetMainForm(const TForm* Form) { FMainForm = Form; }

    [[nodiscard]] std::u16string ExecutableName() const override;
    [[nodiscard]] const TForm* MainForm() const override { return FMainForm; }
    [[nodiscard]] bool IsMinimized() const override;
    void Minimize() override;
    void SetBusyCursor(bool Busy) override;
    void ShowException(const std::exception& Error) override;
    [[nodiscard]] TPoint ScreenSize() const override;
    [[nodiscard]] int PixelsPerInch() const override;
    [[nodiscard]] std::vector<TRect> WorkAreas() const override;
    [[nodiscard]] int TitleHeight() const override;

    /// Tells a person in place of the message box.
    std::function<void(const std::exception& Error)> OnShowException;

private:
    TQtApplication() = default;

    const TForm* FMainForm = nullptr;
};

} // namespace zutools
