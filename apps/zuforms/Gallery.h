// The gallery's window: the list of panels, and of the chosen one the control, its states, its properties, a
// sample and its events.

#pragma once

#include "apps/zuforms/Panel.h"

#include <QMainWindow>

class QLabel;
class QListWidget;
class QPlainTextEdit;
class QSplitter;

namespace zutools::zuforms {

class TEventLog;
class TInspector;

class TGallery : public QMainWindow {
    Q_OBJECT

public:
    /// `Store` is the settings file that keeps the window and what was chosen; empty keeps nothing.
    explicit TGallery(const QString& Store);

    void Open(const TPanel& Panel);

private:
    void Show(const TPanel& Panel);
    void ShowStates(const TShown& Shown);

    QListWidget* FList;
    QLabel* FAbout;
    QWidget* FPlace; // of the control
    QWidget* FStates;
    QPlainTextEdit* FSample;
    TInspector* FInspector;
    TEventLog* FEvents;
    QWidget* FShown = nullptr;
};

} // namespace zutools::zuforms
