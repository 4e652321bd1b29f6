// How parameters are shown and typed in, by their kind.
//
// For the user-interface thread.

#pragma once

#include "controls/ParamFields.h"

#include <QString>

#include <functional>

class QWidget;

namespace zutools {

[[nodiscard]] inline QString ToQt(std::u16string_view Text) {
    return QString::fromUtf16(Text.data(), static_cast<qsizetype>(Text.size()));
}

/// What is wrong, as a sentence without its full stop; empty for no fault.
[[nodiscard]] QString FaultText(const TParamFault& Fault);
/// What stands for a value in sight: dots of a fixed number for a secret, a mark for each line break.
[[nodiscard]] QString ShownValue(TParamKind Kind, std::u16string_view Value);

/// An editor for a value; of a text when there is no field. Its user property is not the value: use the two
/// below. A secret is neither shown nor told to screen readers.
[[nodiscard]] QWidget* MakeParamEditor(const TParamField* Field, TParamKind Kind, QWidget* Parent);
[[nodiscard]] QString ParamEditorText(const QWidget& Editor);
void SetParamEditorText(QWidget& Editor, const QString& Text);
/// Calls when a person or the program changes the value.
void WhenParamEdited(QWidget& Editor, std::function<void()> Edited);

/// Whether values of the kind can be chosen in a dialog.
[[nodiscard]] bool CanChooseParam(TParamKind Kind);
/// Opens that dialog over `Parent`, with the value so far, and returns at once; calls with the value that was
/// chosen, or never.
void ChooseParam(TParamKind Kind, QWidget& Parent, const QString& Title, const QString& Value,
                 std::function<void(const QString& Value)> Chosen);

} // namespace zutools
