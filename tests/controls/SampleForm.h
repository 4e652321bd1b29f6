// What stands around the samples of docs/controls: a program's own form, with what they mention of it. They
// are compiled and never run.

#pragma once

#include "controls/Kxloger.h"
#include "controls/ParamsRows.h"
#include "controls/QtFormStorage.h"
#include "core/Lparams.h"

#include <QDialog>
#include <QStringList>

namespace zutools::samples {

extern TKXLoger& Loger;

struct TForm : QWidget {
    void Check() {}
    void Save() {}
    void Export(const QString& /*Folder*/) {}

    QStringList Earlier;
    TParamsList Settings;
    QDialog Dialog;
};

inline QString ValueOfMacro(const QString& Macro) {
    return Macro;
}

} // namespace zutools::samples
