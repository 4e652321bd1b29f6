// The application's own tables: a folder of NNN-name.sql files that are run once each, in order of their
// numbers, each in a transaction of its own. What was run stands in ZuAppMigrations with the hash of its
// text, so that a file that was changed afterwards is noticed.
//
// In the statements {NumberedKey} stands for the type of a key column that the database numbers, and
// {BigInteger} for that of a column which refers to one.

#pragma once

#include "server/sql/Schema.h"

#include <string>
#include <string_view>
#include <vector>

namespace zutools::server {

struct TAppMigration {
    int Number = 0;
    std::u16string Name; // of the file
    std::u16string Text;
    std::u16string Hash;      // SHA-256 of the text, line ends apart
    std::u16string AppliedAt; // empty: not run yet
};

/// The files of the folder in their order, and what the database knows of them.
/// @throws EDatabaseError for a file whose name has no number, a number that stands twice, a file that was
/// changed after it was run, one that is gone; platform::TSystemError.
[[nodiscard]] std::vector<TAppMigration> ListAppMigrations(TSqlDatabase& Database,
                                                           std::u16string_view Folder);

/// Runs those that were not run. How many. @throws as ListAppMigrations, and EDatabaseError that names the
/// file and the line of the statement that was refused; the ones before it stay.
int RunAppMigrations(const TSchemaLock& Lock, std::u16string_view Folder);

/// One statement of a text, without its ";".
struct TSqlPiece {
    std::u16string_view Text;
    int Line = 1; // where it begins
};
/// At each ";" outside of texts, names in quotes, comments and $tag$ bodies; pieces without anything but
/// blanks and comments are left out.
[[nodiscard]] std::vector<TSqlPiece> SplitSql(std::u16string_view Text);

} // namespace zutools::server
