// A write that is whole or not at all: a transaction of its own, or a savepoint in the one that is open.

#pragma once

#include "server/sql/SqlDatabase.h"

namespace zutools::server {

/// Undoes what was written since its construction unless committed; the destructor never throws. After a
/// failure inside an outer transaction that transaction is usable, unless the database ended it. Stays on one
/// thread.
class TWriteScope {
public:
    /// @throws EDatabaseError.
    explicit TWriteScope(TSqlDatabase& Database)
        : FDatabase(Database)
        , FJoined(Database.InTransaction()) {
        if (FJoined) {
            Execute(u"SAVEPOINT ZuWrite");
        } else {
            Database.StartTransaction();
        }
    }
    ~TWriteScope() {
        if (FDone) return;
        try {
            if (FJoined) {
                Execute(u"ROLLBACK TO SAVEPOINT ZuWrite");
                Execute(u"RELEASE SAVEPOINT ZuWrite");
            } else {
                FDatabase.Rollback();
            }
        } catch (const std::exception&) {
            // The connection is lost or the whole transaction has ended, and the write with it.
        }
    }
    TWriteScope(const TWriteScope&) = delete;
    TWriteScope& operator=(const TWriteScope&) = delete;

    /// In an outer transaction the write lasts when that one does. @throws EDatabaseError: nothing was
    /// written.
    void Commit() {
        if (FJoined) {
            Execute(u"RELEASE SAVEPOINT ZuWrite");
        } else {
            FDatabase.Commit();
        }
        FDone = true;
    }

private:
    void Execute(std::u16string_view Statement) {
        const auto Query = FDatabase.CreateExecQuery();
        Query->SetSQL(Statement);
        Query->Execute();
    }

    TSqlDatabase& FDatabase;
    const bool FJoined;
    bool FDone = false;
};

} // namespace zutools::server
