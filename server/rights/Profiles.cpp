#include "server/rights/Profiles.h"

#include "host/Format.h"
#include "host/StringHelpers.h"
#include "server/rights/RecordFilter.h"

#include <algorithm>

namespace zutools::server {

std::vector<std::u16string> TProfiles::List() const {
    const auto Query = OpenRights(Database(), u"SELECT Name FROM ZuProfiles ORDER BY Name");
    std::vector<std::u16string> Result;
    while (Query->Step()) Result.push_back(Query->FieldAsString(u"Name"));
    return Result;
}

bool TProfiles::Exists(std::u16string_view Profile) const {
    return OpenRights(Database(), u"SELECT Name FROM ZuProfiles WHERE Name = :Name", {{u"Name", Profile}})
        ->Step();
}

bool TProfiles::Add(std::u16string_view Profile) {
    RequireGoodName(u"profile", Profile);
    return ExecRights(Database(),
                      u"INSERT INTO ZuProfiles (Name) VALUES (:Name) ON CONFLICT (Name) DO NOTHING",
                      {{u"Name", Profile}}) > 0;
}

bool TProfiles::Remove(std::u16string_view Profile) {
    TSqlDatabase& Connection = Database();
    TTransaction Change(Connection, TTransaction::TWithin::Any);
    {
        const auto Holder =
            OpenRights(Connection, u"SELECT Name FROM ZuUsers WHERE Profile = :Name", {{u"Name", Profile}});
        if (Holder->Step()) {
            throw ERightsError(
                Format(u"The profile \"%s\" is that of the user \"%s\"; give its users another one first.",
                       {Profile, Holder->FieldAsString(u"Name")}));
        }
    }
    const bool Found =
        ExecRights(Connection, u"DELETE FROM ZuProfiles WHERE Name = :Name", {{u"Name", Profile}}) > 0;
    Change.Commit();
    return Found;
}

std::vector<TPrivilege> TProfiles::Rights(std::u16string_view Profile) const {
    const auto Query = OpenRights(Database(),
                                  u"SELECT TableName, Operation, RecordFilter FROM ZuPrivileges "
                                  u"WHERE Profile = :Profile ORDER BY ID",
                                  {{u"Profile", Profile}});
    std::vector<TPrivilege> Result;
    while (Query->Step()) {
        Result.push_back({.TableName = Query->FieldAsString(u"TableName"),
                          .Right = static_cast<TRecordRight>(Query->FieldAsInteger(u"Operation")),
                          .RecordFilter = Query->FieldAsString(u"RecordFilter")});
    }
    return Result;
}

void TProfiles::Grant(std::u16string_view Profile, const TPrivilege& Line) {
    RequireGoodName(u"table", Line.TableName);
    if (!Line.RecordFilter.empty()) (void)TRecordFilter(Line.RecordFilter);
    TSqlDatabase& Connection = Database();
    TTransaction Change(Connection, TTransaction::TWithin::Any);
    (void)Add(Profile);
    const auto Lines = Rights(Profile);
    const bool Known = std::any_of(Lines.begin(), Lines.end(), [&Line](const TPrivilege& Other) {
        return SameText(Other.TableName, Line.TableName) && Other.Right == Line.Right &&
               Other.RecordFilter == Line.RecordFilter;
    });
    if (!Known) {
        ExecRights(Connection,
                   u"INSERT INTO ZuPrivileges (Profile, TableName, Operation, RecordFilter) "
                   u"VALUES (:Profile, :TableName, :Operation, :RecordFilter)",
                   {{u"Profile", Profile},
                    {u"TableName", Line.TableName},
                    {u"Operation", static_cast<int>(Line.Right)},
                    {u"RecordFilter", Line.RecordFilter}});
    }
    Change.Commit();
}

int TProfiles::Revoke(std::u16string_view Profile, std::u16string_view Table,
                      std::optional<TRecordRight> Right) {
    TSqlDatabase& Connection = Database();
    TTransaction Change(Connection, TTransaction::TWithin::Any);
    std::vector<std::int64_t> Lines;
    {
        // The two databases differ in how they fold names, so the lines are chosen here.
        const auto Query = OpenRights(
            Connection, u"SELECT ID, TableName, Operation FROM ZuPrivileges WHERE Profile = :Profile",
            {{u"Profile", Profile}});
        while (Query->Step()) {
            if (!SameText(Query->FieldAsString(u"TableName"), Table)) continue;
            if (Right && Query->FieldAsInteger(u"Operation") != static_cast<int>(*Right)) continue;
            Lines.push_back(Query->FieldAsInt64(u"ID"));
        }
    }
    for (const std::int64_t ID : Lines) {
        ExecRights(Connection, u"DELETE FROM ZuPrivileges WHERE ID = :ID", {{u"ID", ID}});
    }
    Change.Commit();
    return static_cast<int>(Lines.size());
}

} // namespace zutools::server
