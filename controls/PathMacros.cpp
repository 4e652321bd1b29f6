#include "controls/PathMacros.h"

#include <algorithm>

namespace zutools {

namespace {

constexpr QChar Mark = u'%';

QString Written(const QString& Name) {
    return Mark + Name + Mark;
}

} // namespace

const QStringList& MacroNames() {
    static const QStringList Names{
        QStringLiteral("KXSRoot"),    QStringLiteral("PID"),      QStringLiteral("Date"),
        QStringLiteral("Time"),       QStringLiteral("DateTime"), QStringLiteral("TimeMsec"),
        QStringLiteral("UserName"),   QStringLiteral("ExeName"),  QStringLiteral("DefaultDBName"),
        QStringLiteral("LanguageID"), QStringLiteral("ModuleID"), QStringLiteral("MachineName"),
        QStringLiteral("ThreadID")};
    return Names;
}

TExpandedPath ExpandMacros(const QString& Path) {
    TExpandedPath Result{Path, {}};
    if (!CorrectPath) return Result;
    for (const QString& Name : MacroNames()) {
        const QString Macro = Written(Name);
        if (!Result.Path.contains(Macro)) continue;
        const QString Value = CorrectPath(Macro);
        Result.Used.emplace_back(Macro, Value);
        if (Value == Macro) continue; // a macro that stands for itself stays
        for (qsizetype At = 0; (At = Result.Path.indexOf(Macro)) >= 0 && Result.Path.size() <= LongestPath;)
            Result.Path.replace(At, Macro.size(), Value);
    }
    Result.Path.truncate(LongestPath);
    return Result;
}

QString CollapseMacros(QString Path, const TExpandedPath& Expanded) {
    for (const auto& [Macro, Value] : Expanded.Used)
        if (!Value.isEmpty()) Path.replace(Value, Macro);
    return Path;
}

std::optional<TMacroFault> FindMacroFault(const QString& Path) {
    for (qsizetype At = 0; (At = Path.indexOf(Mark, At)) >= 0;) {
        const qsizetype End = Path.indexOf(Mark, At + 1);
        const QString Name = Path.mid(At + 1, End < 0 ? -1 : End - At - 1);
        if (End < 0) return TMacroFault{At, true, Name};
        if (!MacroNames().contains(Name)) return TMacroFault{At, false, Name};
        At = End + 1;
    }
    return std::nullopt;
}

const QStringList& UnitCaptions() {
    static const QStringList Captions{QStringLiteral("байт"), QStringLiteral("Кбайт"),
                                      QStringLiteral("Мбайт"), QStringLiteral("Гбайт"),
                                      QStringLiteral("Тбайт")};
    return Captions;
}

TFileSizeUnit UnitFor(std::int64_t Size) {
    std::size_t Unit = 0;
    while (Size > 0 && Unit + 1 < UnitFactors.size() && Size % UnitFactors[Unit + 1] == 0) ++Unit;
    return static_cast<TFileSizeUnit>(Unit);
}

std::int64_t SizeIn(std::int64_t Size, TFileSizeUnit Unit) {
    return Size / UnitFactors[static_cast<std::size_t>(Unit)];
}

} // namespace zutools
