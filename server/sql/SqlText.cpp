#include "server/sql/SqlText.h"

#include "platform/TextTools.h"

#include <QByteArray>
#include <QDateTime>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace zutools::server {

namespace {

std::u16string_view Units(const QString& Text) {
    return {reinterpret_cast<const char16_t*>(Text.constData()), static_cast<std::size_t>(Text.size())};
}

[[noreturn]] void RefuseField(std::u16string_view Field, std::u16string_view Why) {
    throw EDatabaseError(std::u16string(u"Column ").append(Field).append(u" ").append(Why));
}

std::u16string FloatText(double Value) {
    if (Value == std::numeric_limits<double>::infinity()) return u"Infinity";
    if (Value == -std::numeric_limits<double>::infinity()) return u"-Infinity";
    std::array<char, 32> Digits{};
    const auto End = std::to_chars(Digits.data(), Digits.data() + Digits.size(), Value).ptr;
    return {Digits.data(), End};
}

QString DateTimeText(const QDateTime& Value) {
    const bool Whole = Value.time().msec() == 0;
    return Value.toString(Whole ? QStringLiteral("yyyy-MM-dd HH:mm:ss")
                                : QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
}

QString TimeText(const QTime& Value) {
    return Value.toString(Value.msec() == 0 ? QStringLiteral("HH:mm:ss") : QStringLiteral("HH:mm:ss.zzz"));
}

/// Length of the character at Pos in units; 0 for an unpaired surrogate.
std::size_t CharacterLength(std::u16string_view Text, std::size_t Pos) {
    if (!platform::IsSurrogate(Text[Pos])) return 1;
    if (platform::IsLowSurrogate(Text[Pos]) || Pos + 1 == Text.size()) return 0;
    return platform::IsLowSurrogate(Text[Pos + 1]) ? 2 : 0;
}

std::u16string CheckedText(std::u16string Text, std::u16string_view Field) {
    // Only a file that others wrote can hold such a text.
    for (std::size_t Pos = 0; Pos < Text.size();) {
        const std::size_t Length = CharacterLength(Text, Pos);
        if (Length == 0) RefuseField(Field, u"holds an unpaired surrogate");
        Pos += Length;
    }
    return Text;
}

} // namespace

QString ToQt(std::u16string_view Text) {
    if (Text.empty()) return QStringLiteral(""); // QString() would be bound as NULL
    // QString::fromUtf16 would take U+FEFF in front for a mark and drop it.
    return QString(reinterpret_cast<const QChar*>(Text.data()), static_cast<qsizetype>(Text.size()));
}

std::u16string FromQt(const QString& Text) {
    return std::u16string(Units(Text));
}

std::optional<TTextFault> FindTextFault(std::u16string_view Text, TSqlDialect Dialect) {
    if (Dialect == TSqlDialect::Postgres && Text.starts_with(u'\xFEFF')) {
        return TTextFault{0, u"U+FEFF in front, which the driver of PostgreSQL drops when it reads"};
    }
    for (std::size_t Pos = 0; Pos < Text.size();) {
        const char16_t C = Text[Pos];
        const std::size_t Length = CharacterLength(Text, Pos);
        if (Length == 0) return TTextFault{Pos, u"an unpaired surrogate"};
        if (C == 0 && Dialect == TSqlDialect::Postgres) {
            return TTextFault{Pos, u"U+0000, which PostgreSQL cannot store"};
        }
        if (C >= 0xFFFE && Dialect == TSqlDialect::Sqlite) { // it would give both back as U+FFFD
            return TTextFault{Pos, u"U+FFFE or U+FFFF, which SQLite does not keep"};
        }
        Pos += Length;
    }
    return std::nullopt;
}

QString PostgresLiteral(const QVariant& Value) {
    switch (Value.typeId()) {
    case QMetaType::LongLong:
        return QLatin1Char('\'') + QString::number(Value.toLongLong()) + QLatin1Char('\'');
    case QMetaType::Double:
        return QLatin1Char('\'') + ToQt(FloatText(Value.toDouble())) + QLatin1Char('\'');
    case QMetaType::QString: {
        // With E the meaning of a backslash does not depend on a setting that a statement may have changed.
        const QString Text = Value.toString();
        QString Literal;
        Literal.reserve(Text.size() + Text.size() / 16 + 4);
        Literal += QLatin1String("E'");
        for (const QChar C : Text) {
            if (C == QLatin1Char('\'') || C == QLatin1Char('\\')) Literal += C;
            Literal += C;
        }
        return Literal += QLatin1Char('\'');
    }
    default:
        return QStringLiteral("NULL");
    }
}

TKXVariant FieldToVariant(const QVariant& Value, std::u16string_view Field) {
    if (Value.isNull()) return {};
    switch (Value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::ULongLong: // so the PostgreSQL driver gives a BIGINT that is not negative
        return static_cast<std::int64_t>(Value.toLongLong());
    case QMetaType::Float:
    case QMetaType::Double:
        return Value.toDouble();
    case QMetaType::QString:
        return CheckedText(FromQt(Value.toString()), Field);
    case QMetaType::QDate:
        if (Value.toDate().isValid()) return FromQt(Value.toDate().toString(Qt::ISODate));
        break;
    case QMetaType::QTime:
        if (Value.toTime().isValid()) return FromQt(TimeText(Value.toTime()));
        break;
    case QMetaType::QDateTime:
        if (Value.toDateTime().isValid()) return FromQt(DateTimeText(Value.toDateTime()));
        break;
    case QMetaType::QByteArray:
        RefuseField(Field, u"holds binary data; only numbers and text can be read");
    default:
        RefuseField(Field, u"is of a type that cannot be read; cast it to text in the statement");
    }
    RefuseField(Field, u"holds a date or time out of the driver's range; cast it to text in the statement");
}

std::u16string DatabaseText(const QSqlError& Error) {
    std::u16string Text = FromQt(Error.databaseText());
    // The driver's own refusals leave the database's text empty or as SQLite's text for success.
    if (Text.find_first_not_of(u" \n") == Text.npos || Text == u"not an error")
        Text = FromQt(Error.driverText());
    // "LINE 1: ..." shows our EXECUTE with its values and a caret below it, which says nothing to the reader.
    if (const std::size_t Line = Text.find(u"\nLINE "); Line != Text.npos) {
        const std::size_t Caret = Text.find(u'\n', Line + 1);
        const std::size_t End = Caret == Text.npos ? Text.npos : Text.find(u'\n', Caret + 1);
        Text.erase(Line, End == Text.npos ? Text.npos : End - Line);
    }
    constexpr std::u16string_view Prefix = u"ERROR:  ";
    if (Text.starts_with(Prefix)) Text.erase(0, Prefix.size());
    std::replace_if(
        Text.begin(), Text.end(), [](char16_t C) { return C == u'\n' || C == u'\r' || C == u'\t'; }, u' ');
    Text.erase(Text.find_last_not_of(u' ') + 1);
    return Text;
}

std::u16string ShownStatement(std::u16string_view Statement) {
    constexpr std::size_t MaxShown = 500;
    return platform::Masked(platform::Shortened(Statement, MaxShown), u' ');
}

} // namespace zutools::server
