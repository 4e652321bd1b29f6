#include "server/records/TableShape.h"

#include "host/Format.h"
#include "host/UserTables.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <algorithm>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace zutools::server {

namespace {

constexpr std::size_t LongestName = 256;

std::u16string ShownName(std::u16string_view Name) {
    return platform::Masked(platform::WholeStart(Name, LongestName));
}

[[noreturn]] void RefuseUnknown(std::u16string_view Name) {
    throw EUserTableError(
        Format(u"There is no table \"%s\" in the database; check its name, and on PostgreSQL "
               u"that its schema is in the search path",
               {ShownName(Name)}));
}

TSqlTable FindTable(TSqlDatabase& Database, std::u16string_view Name) {
    const bool Odd =
        Name.empty() || Name.size() > LongestName ||
        std::any_of(Name.begin(), Name.end(), [](char16_t C) { return C < u' ' || C >= 0xFFFE; }) ||
        platform::Utf16ToUtf8Strict(Name).Error;
    if (Odd) RefuseUnknown(Name);
    std::vector<TSqlTable> Tables = Database.FindTables(Name);
    if (Tables.empty()) RefuseUnknown(Name);
    auto Chosen = std::find_if(Tables.begin(), Tables.end(),
                               [&](const TSqlTable& Table) { return Table.Name == Name; });
    if (Chosen == Tables.end()) {
        if (Tables.size() > 1) {
            throw EUserTableError(
                Format(u"Several tables are named \"%s\" in different letter case; write the "
                       u"name exactly as one of them has it",
                       {ShownName(Name)}));
        }
        Chosen = Tables.begin();
    }
    if (Chosen->IsView) {
        throw EUserTableError(Format(
            u"\"%s\" is a view; records are opened in tables: name the table below it", {Chosen->Name}));
    }
    return std::move(*Chosen);
}

/// Any thread.
class TKeptShapes {
public:
    static TKeptShapes& Instance() {
        static TKeptShapes Kept;
        return Kept;
    }

    TShape Find(const TSqlDatabase& Database, std::u16string_view Name) const {
        const std::lock_guard Lock(FMutex);
        const auto Found = FShapes.find(KeyOf(Database, Name));
        return Found == FShapes.end() ? nullptr : Found->second;
    }

    void Keep(const TSqlDatabase& Database, std::u16string_view Name, const TShape& Shape) {
        // A database in memory is its connection's own, and others have the same name.
        if (Database.DisplayUrl().ends_with(u":memory:")) return;
        const std::lock_guard Lock(FMutex);
        if (FShapes.size() >= Most) FShapes.clear(); // names come from requests
        FShapes.insert_or_assign(KeyOf(Database, Name), Shape);
    }

private:
    static constexpr std::size_t Most = 1000;

    static std::u16string KeyOf(const TSqlDatabase& Database, std::u16string_view Name) {
        return Database.DisplayUrl() + u'\n' + std::u16string(Name);
    }

    mutable std::mutex FMutex;
    std::unordered_map<std::u16string, TShape> FShapes;
};

std::u16string StampNow(TSqlDatabase& Database, const TTableShape& Shape) {
    const auto Query = Database.CreateSelectQuery();
    Query->SetSQL(u"SELECT " + Shape.Engine->TableStamp(Shape) + u" AS Stamp");
    Query->Open();
    return Query->Step() ? Query->FieldAsString(u"Stamp") : std::u16string();
}

} // namespace

std::size_t TTableShape::FindColumn(std::u16string_view Column) const {
    std::size_t Found = NoColumn;
    for (std::size_t Index = 0; Index < Columns.size(); ++Index) {
        if (Columns[Index].Name == Column) return Index;
        if (Found == NoColumn && SameSqlName(Columns[Index].Name, Column)) Found = Index;
    }
    return Found;
}

TShape ReadTableShape(TSqlDatabase& Database, std::u16string_view TableName) {
    TTableShape Shape{FindTable(Database, TableName), &Database.Engine()};
    for (const std::size_t Index : Shape.Key) {
        if (Shape.Columns[Index].Kind != TFieldKind::Blob) continue;
        throw EUserTableError(
            Format(u"The key column %s of the table %s is binary, so that a record cannot be "
                   u"named; give the table a key of numbers or text",
                   {Shape.Columns[Index].Name, Shape.Name}));
    }
    if (Shape.Key.empty()) {
        throw EUserTableError(
            Format(u"The table %s has no primary key, so that a record cannot be named; add "
                   u"one (PRIMARY KEY) to open its records",
                   {Shape.Name}));
    }
    auto Result = std::make_shared<const TTableShape>(std::move(Shape));
    TKeptShapes::Instance().Keep(Database, TableName, Result);
    return Result;
}

TShape KnownTableShape(TSqlDatabase& Database, std::u16string_view TableName) {
    TShape Kept = TKeptShapes::Instance().Find(Database, TableName);
    return Kept ? Kept : ReadTableShape(Database, TableName);
}

TShape CurrentTableShape(TSqlDatabase& Database, std::u16string_view TableName) {
    TShape Kept = TKeptShapes::Instance().Find(Database, TableName);
    return Kept && StampNow(Database, *Kept) == Kept->Stamp ? Kept : ReadTableShape(Database, TableName);
}

} // namespace zutools::server
