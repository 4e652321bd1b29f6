// What Qt's own classes keep in functions and not in a Q_PROPERTY, as properties.
//
// For the user-interface thread.

#pragma once

#include <QObject>
#include <QVariant>

#include <span>
#include <string_view>

namespace zutools {

struct TQtExtra {
    const QMetaObject* Class; // which has it, with everything derived from it
    std::u16string_view Name;
    bool Lines; // the value is a QStringList, else a QString
    QVariant (*Get)(const QObject& Object);
    void (*Set)(QObject& Object, const QVariant& Value); // what cannot be read in a text changes nothing
};

/// Splitters: `Sizes`, "120,300". Headers: `Sections`, and their views: `ColumnSections`, `RowSections`:
/// the sections from left to right as "index:size", "-" before a hidden one, then the column that sorts with
/// "a" or "d" ("1:120,-0:64;1d"). Main windows: `DockState`, the places of tool bars and docks. Combo and
/// list boxes: `Items`. Editors of several lines: `Lines`.
[[nodiscard]] std::span<const TQtExtra> ExtraProperties();

} // namespace zutools
