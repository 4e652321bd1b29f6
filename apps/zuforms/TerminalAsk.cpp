#include "apps/zuforms/TerminalAsk.h"

#include "controls/ParamEditor.h"
#include "core/Lparams.h"
#include "platform/Terminal.h"
#include "platform/Text.h"

#include <QCoreApplication>

#include <cstdio>
#include <iostream>
#include <optional>
#include <string>

namespace zutools::zuforms {

namespace {

constexpr std::size_t LongestAnswer = 64U << 10; // bytes

QString Tr(const char* Text) {
    return QCoreApplication::translate("zuforms", Text);
}

// Control characters of a list or a script do not reach the terminal.
void Say(const QString& Text) {
    const std::u16string Shown = platform::Masked(Text.toStdU16String(), u'\uFFFD', u"\n");
    std::fputs(platform::Utf16ToUtf8(Shown).c_str(), stderr);
}

// Nothing at the end of the input. The terminal is silent before the question is seen.
std::optional<QString> ReadLine(const QString& Question, bool Hidden) {
    std::optional<platform::TNoEcho> NoEcho;
    if (Hidden && platform::InputIsTerminal()) NoEcho.emplace();
    Say(Question);
    std::string Line;
    for (char Byte = 0; std::cin.get(Byte) && Byte != '\n';)
        if (Line.size() < LongestAnswer) Line.push_back(Byte);
    if (NoEcho) Say(QStringLiteral("\n")); // the one that was typed is not shown
    if (Line.empty() && !std::cin) return std::nullopt;
    if (Line.ends_with('\r')) Line.pop_back();
    return QString::fromStdString(Line);
}

QString QuestionOf(const TParamField& Field, const QString& Now) {
    QString Asked = ToQt(Field.Shown());
    if (Field.Required) Asked += QStringLiteral(" *");
    QStringList Choices;
    for (const std::u16string& Choice : Field.Choices) Choices += ToQt(Choice);
    if (Field.Kind == TParamKind::YesNo) Choices = {QStringLiteral("True"), QStringLiteral("False")};
    if (!Choices.isEmpty()) Asked += QStringLiteral(" (%1)").arg(Choices.join(QStringLiteral(", ")));
    if (!Now.isEmpty()) Asked += QStringLiteral(" [%1]").arg(ShownValue(Field.Kind, Now.toStdU16String()));
    return Asked + QStringLiteral(": ");
}

std::optional<QString> Answer(const TParamFields& Fields, const TParamField& Field, const QString& Now) {
    if (!Field.Hint.empty()) Say(QStringLiteral("  %1\n").arg(ToQt(Field.Hint)));
    while (true) {
        std::optional<QString> Line = ReadLine(QuestionOf(Field, Now), Field.Kind == TParamKind::Secret);
        if (!Line) return std::nullopt;
        if (Line->isEmpty()) Line = Now;
        if (*Line == u'-') Line = QString();
        const TParamFault Fault = Fields.Check(Field.Name, Line->toStdU16String());
        if (!Fault) return Line;
        Say(QStringLiteral("  %1\n").arg(FaultText(Fault)));
    }
}

} // namespace

bool AskOnTerminal(TParamsList& List, std::u16string_view Title, std::u16string_view Text,
                   std::vector<TParamField> Fields) {
    const TParamFields Asked(FieldsFor(List, std::move(Fields)));
    for (const std::u16string_view Line : {Title, Text})
        if (!Line.empty()) Say(ToQt(Line) + u'\n');
    std::vector<std::u16string> Values;
    for (const TParamField& Field : Asked.All()) {
        const auto Value = Answer(Asked, Field, ToQt(List.GetPLValueByName(Field.Name)));
        if (!Value) {
            Say(QStringLiteral("\n%1\n").arg(Tr("The input ended; nothing was changed.")));
            return false;
        }
        Values.push_back(Value->toStdU16String());
    }
    StoreAnswers(List, Asked.All(), Values);
    return true;
}

} // namespace zutools::zuforms
