// The host's own tables: numbered migrations that are run once each, in order, on either database.
//
// The host calls UpgradeSchema at its start, before its workers. What was run is told by the table
// ZuSchemaVersion, one row a migration. Processes that start at once wait for each other (TSchemaLock), so
// each migration runs once.

#pragma once

#include "server/sql/SqlDatabase.h"

#include <chrono>
#include <span>
#include <string_view>

namespace zutools::server {

/// Numbers count from 1 without gaps. One that has been released is never changed: a later one corrects it.
struct TMigration {
    int Number;
    std::u16string_view Purpose; // for the row in ZuSchemaVersion and for messages
    /// Statements; {NumberedKey} and {BigInteger} stand for words of the engine (TSqlWords).
    std::span<const std::u16string_view> Steps;
};

/// The migrations of the host's tables; new ones are appended.
[[nodiscard]] std::span<const TMigration> HostMigrations();

/// What is done once for a database is done under this: one program or thread at a time holds it, on the
/// connection that it is made with. Transactions begin and end inside it, and a statement may take
/// TSqlTimeouts::Schema.
/// It holds while the connection does; a program that dies gives it back.
class TSchemaLock {
public:
    /// Blocks while another has it. Not inside a transaction.
    /// @throws EDatabaseError after `Wait`, or when the database is out of reach.
    explicit TSchemaLock(TSqlDatabase& Database, std::chrono::milliseconds Wait = std::chrono::minutes(10));
    ~TSchemaLock();
    TSchemaLock(const TSchemaLock&) = delete;
    TSchemaLock& operator=(const TSchemaLock&) = delete;
    [[nodiscard]] TSqlDatabase& Database() const { return FDatabase; }

private:
    TSqlDatabase& FDatabase;
    const TSqlTimeouts FBefore;
};

/// Runs the migrations that the database has not had, each in a transaction of its own: one that fails leaves
/// no trace and the ones before it in place. Returns how many were run.
/// @throws EDatabaseError when a statement is refused, or when the database is of a newer program: then
/// nothing is changed. Not inside a transaction.
int UpgradeSchema(const TSchemaLock& Lock, std::span<const TMigration> Migrations = HostMigrations());
/// The same under a lock of its own.
int UpgradeSchema(TSqlDatabase& Database, std::span<const TMigration> Migrations = HostMigrations());

/// A statement with the engine's words in place of {NumberedKey} and {BigInteger}.
[[nodiscard]] std::u16string InWordsOf(const TSqlEngine& Engine, std::u16string_view Statement);

/// Runs one statement without parameters. @throws EDatabaseError when the database refuses it.
void ExecuteStatement(TSqlDatabase& Database, std::u16string_view Statement);

/// One of the host's tables that hold users, rights, documents and the schema's own version, ignoring the
/// case of A to Z: the application does not open them as records, whatever rights its users have.
[[nodiscard]] bool IsHostTable(std::u16string_view Table);

/// The number of the last migration that was run; 0 for a database without the host's tables.
[[nodiscard]] int SchemaVersion(TSqlDatabase& Database);

} // namespace zutools::server
