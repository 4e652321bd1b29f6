// The host's own tables: numbered migrations that are run once each, in order, on either database.
//
// The host calls UpgradeSchema at its start, before its workers. What was run is told by the table
// ZuSchemaVersion, one row a migration. Processes that start at once wait for each other, so each migration
// runs once.

#pragma once

#include "server/sql/SqlDatabase.h"

#include <span>
#include <string_view>

namespace zutools::server {

/// One statement of a migration. `Postgres` is empty where both databases take the same text.
struct TMigrationStep {
    std::u16string_view Sqlite;
    std::u16string_view Postgres{};
};

/// Numbers count from 1 without gaps. One that has been released is never changed: a later one corrects it.
struct TMigration {
    int Number;
    std::u16string_view Purpose; // for the row in ZuSchemaVersion and for messages
    std::span<const TMigrationStep> Steps;
};

/// The migrations of the host's tables; new ones are appended.
[[nodiscard]] std::span<const TMigration> HostMigrations();

/// Runs the migrations that the database has not had, each in a transaction of its own: one that fails leaves
/// no trace and the ones before it in place. Returns how many were run.
/// @throws EDatabaseError when a statement is refused, or when the database is of a newer program: then
/// nothing is
///         changed. Not inside a transaction.
int UpgradeSchema(TSqlDatabase& Database, std::span<const TMigration> Migrations = HostMigrations());

/// One of the host's tables that hold users, rights, documents and the schema's own version, ignoring the
/// case of A to Z: the application does not open them as records, whatever rights its users have.
[[nodiscard]] bool IsHostTable(std::u16string_view Table);

/// The number of the last migration that was run; 0 for a database without the host's tables.
[[nodiscard]] int SchemaVersion(TSqlDatabase& Database);

} // namespace zutools::server
