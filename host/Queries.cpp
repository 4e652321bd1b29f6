#include "host/Queries.h"

namespace zutools {

namespace {

void Run(TDatabase& Database, std::u16string_view Statement) {
    const auto Query = Database.CreateExecQuery();
    Query->SetSQL(Statement);
    Query->Execute();
}

} // namespace

TTransaction::TTransaction(TDatabase& Database, TWithin Within)
    : FDatabase(Database)
    , FPart(Within == TWithin::Any && Database.InTransaction()) {
    if (FPart) {
        Run(FDatabase, u"SAVEPOINT ZuPart");
    } else {
        FDatabase.StartTransaction();
    }
}

TTransaction::~TTransaction() {
    if (FDone) return;
    try {
        if (FPart) {
            Run(FDatabase, u"ROLLBACK TO SAVEPOINT ZuPart");
            Run(FDatabase, u"RELEASE SAVEPOINT ZuPart");
        } else {
            FDatabase.Rollback();
        }
    } catch (const std::exception&) {
        // The connection is lost or the whole transaction has ended, and the write with it.
    }
}

void TTransaction::Commit() {
    if (FPart) {
        Run(FDatabase, u"RELEASE SAVEPOINT ZuPart");
    } else {
        FDatabase.Commit();
    }
    FDone = true;
}

} // namespace zutools
