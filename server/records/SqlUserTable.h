// One record of a table in the database: any table of SQLite or PostgreSQL that has a primary key.
//
// Fields are typed by the table's columns: whole numbers, floats, decimals (text, exact on PostgreSQL), text,
// booleans, dates and times (text in ISO form), identifiers; binary fields are neither read nor written, and
// raise. Other types of PostgreSQL pass as their text. A name that the catalogue does not hold never becomes
// part of a statement.
//
// A write compares the row with what was opened, field by field, with the row locked. While one thread writes
// a record, others read it, but neither set nor write it. Insert of a record that was opened writes a copy:
// under the key that was set, or under a new one where the database numbers the rows.
//
// A record is opened and a TRecordWriting begins outside the calling thread's transactions; inside they
// raise. Whoever writes records in a larger transaction begins the writings first, then the transaction.
//
//     auto Table = MakeUserTable(u"Orders", [&] { return &Pool.Get(); });
//     if (!Table->Open(u"17")) return;
//     Table->SetField(u"Customer", u"Smith");
//     Table->Post();

#pragma once

#include "host/UserTables.h"
#include "server/sql/SqlDatabase.h"

#include <functional>
#include <memory>
#include <string_view>

namespace zutools::server {

/// Called with a table's name before a record of it is opened, begun or written, on the thread that wants to;
/// raises to refuse.
using TTableGuard = std::function<void(std::u16string_view Table)>;

/// The table of that name, read from the catalogue; a letter case of A to Z that differs is forgiven when
/// only one table fits. `Database` is asked at each call that needs one and must outlive the table.
/// @throws EUserTableError when there is no database or no such table, for views, tables without primary key
///         and the host's own tables (IsHostTable); EDatabaseError.
[[nodiscard]] std::unique_ptr<TUserTable> MakeUserTable(std::u16string_view TableName,
                                                        TDatabaseOfThread Database, TTableGuard Guard = {});

} // namespace zutools::server
