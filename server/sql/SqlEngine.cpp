#include "server/sql/SqlEngine.h"

#include "host/Numbers.h"
#include "host/StringHelpers.h"
#include "server/sql/Engine.h"
#include "server/sql/SqlDatabase.h"

#include <algorithm>

namespace zutools::server {

std::span<const TSqlEngine* const> SqlEngines() {
    static const TSqlEngine* const Engines[] = {&SqliteEngine(), &PostgresEngine()};
    return Engines;
}

void RefuseUrl(std::u16string_view Scheme, std::u16string_view Fault, std::u16string_view Form) {
    std::u16string Text = u"Database URL";
    if (!Scheme.empty()) Text.append(u" (").append(Scheme).append(u")");
    Text.append(u": ").append(Fault).append(u". The right form is ").append(Form).append(u".");
    throw EDatabaseError(std::move(Text));
}

void RefuseField(std::u16string_view Field, std::u16string_view Why) {
    throw EDatabaseError(std::u16string(u"Column ").append(Field).append(u" ").append(Why));
}

void SetSizes(TColumn& Column, std::u16string_view Type) {
    const std::size_t Open = Type.find(u'(');
    const std::size_t Close = Type.find(u')', Open == Type.npos ? 0 : Open);
    if (Open == Type.npos || Close == Type.npos) return;
    const auto Sizes = Type.substr(Open + 1, Close - Open - 1);
    const std::size_t Comma = Sizes.find(u',');
    const auto Number = [](std::u16string_view Text) { return std::max(0, StrToIntDef(Trim(Text), 0)); };
    const int First = Number(Sizes.substr(0, Comma));
    if (Column.Kind == TFieldKind::Text) Column.Length = First;
    if (Column.Kind != TFieldKind::Decimal) return;
    Column.Precision = First;
    Column.Scale = Comma == Sizes.npos ? 0 : Number(Sizes.substr(Comma + 1));
}

void TTablesRead::Enter(const TSelectQuery& Row, std::u16string Quoted) {
    if (!FTables.empty() && FTables.back().Quoted == Quoted) return;
    EndTable();
    TSqlTable Table;
    Table.Name = Row.FieldAsString(u"table");
    Table.Quoted = std::move(Quoted);
    Table.IsView = Row.FieldAsString(u"kind") != u"table";
    Table.ChangesAfterWrite = Row.FieldAsInteger(u"changes") != 0;
    Table.Stamp = Row.FieldAsString(u"stamp");
    FTables.push_back(std::move(Table));
}

void TTablesRead::Add(TColumn Column, std::int64_t KeyPlace) {
    if (KeyPlace > 0) FKey[KeyPlace] = FTables.back().Columns.size();
    FTables.back().Columns.push_back(std::move(Column));
}

std::vector<TSqlTable> TTablesRead::Tables() {
    EndTable();
    return std::move(FTables);
}

void TTablesRead::EndTable() {
    for (const auto& [Place, Column] : FKey) FTables.back().Key.push_back(Column);
    FKey.clear();
}

std::u16string QuotedName(std::u16string_view Name) {
    std::u16string Quoted = u"\"";
    for (const char16_t C : Name) {
        if (C == u'"') Quoted += C;
        Quoted += C;
    }
    return Quoted += u'"';
}

std::u16string TDatabaseUrl::Display() const {
    return std::u16string(Engine->Words().Scheme) + u"://" + Engine->DisplayUrl(*this);
}

TDatabaseUrl ParseDatabaseUrl(std::u16string_view Url, std::u16string_view BaseFolder) {
    constexpr std::u16string_view Mark = u"://";
    const std::size_t End = Url.find(Mark);
    const auto Scheme = Url.substr(0, End);
    std::u16string Forms;
    for (const TSqlEngine* const Engine : SqlEngines()) {
        const TSqlWords& Words = Engine->Words();
        if (End != Url.npos && SameSqlName(Scheme, Words.Scheme)) {
            TDatabaseUrl Parsed = Engine->ParseUrl(Url.substr(End + Mark.size()), BaseFolder);
            Parsed.Engine = Engine;
            return Parsed;
        }
        if (!Forms.empty()) Forms += u", or ";
        Forms += Words.UrlForm;
    }
    if (End == Url.npos) RefuseUrl({}, u"it has no \"://\"", Forms);
    const bool Plain = Scheme.size() <= 20 && std::all_of(Scheme.begin(), Scheme.end(),
                                                          [](char16_t C) { return C > u' ' && C < 0x7F; });
    RefuseUrl(Plain ? Scheme : std::u16string_view{}, u"an unknown kind of database", Forms);
}

std::u16string AbsoluteDatabaseUrl(std::u16string_view Url, std::u16string_view BaseFolder) {
    const TDatabaseUrl Parsed = ParseDatabaseUrl(Url, BaseFolder);
    return Parsed.File.empty() ? std::u16string(Url) : Parsed.Display();
}

} // namespace zutools::server
