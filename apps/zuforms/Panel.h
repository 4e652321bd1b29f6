// A panel of the gallery: one control, alive, in its states, with a sample of code.

#pragma once

#include <QPixmap>
#include <QString>
#include <QWidget>

#include <functional>
#include <span>
#include <vector>

namespace zutools::zuforms {

struct TState {
    QString Name;
    std::function<void()> Apply;
};

/// A control as the gallery shows it.
struct TShown {
    QWidget* Widget = nullptr;  // what stands in the gallery; its parent's
    QObject* Control = nullptr; // whose properties and events are shown; the widget itself or a child of it
    std::vector<TState> States;
    std::function<QPixmap()> Picture = {}; // of a control with a window of its own; without it the widget's
};

struct TPanel {
    const char* Name;  // as --panel and --shot take it, and of its page in docs/controls
    const char* Title; // of the class
    const char* About; // one sentence, translated
    TShown (*Make)(QWidget* Parent);
};

[[nodiscard]] std::span<const TPanel> Panels();
/// Null when no panel has that name.
[[nodiscard]] const TPanel* FindPanel(const QString& Name);

/// The first sample of the panel's page.
[[nodiscard]] QString SampleOf(const TPanel& Panel);

TShown MakeAskPanel(QWidget* Parent);
TShown MakeCryptoPanel(QWidget* Parent);
TShown MakeFolderPanel(QWidget* Parent);
TShown MakeLogFilePanel(QWidget* Parent);
TShown MakeMessagePanel(QWidget* Parent);
TShown MakeParamsPanel(QWidget* Parent);
TShown MakePathPanel(QWidget* Parent);
TShown MakeProgressPanel(QWidget* Parent);
TShown MakeWavePanel(QWidget* Parent);

/// The sentence in the language of the application.
[[nodiscard]] QString Translated(const char* Text);

} // namespace zutools::zuforms
