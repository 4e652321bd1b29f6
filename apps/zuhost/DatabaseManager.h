// The application manager of zuhost: a default language, and a database of which every thread has a
// connection of its own.

#pragma once

#include "host/Services.h"
#include "server/records/SqlUserTable.h"
#include "server/sql/SqlDatabase.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace zutools::zuhost {

/// Any thread may ask; a thread that asked for the database gives it back with ReleaseThread before it ends.
/// Made on the main thread.
class TDatabaseManager : public TSimpleApplicationManager {
public:
    /// Without a URL there is no database. Connects to nothing yet. @throws EDatabaseError for a malformed
    /// URL. `Confined` is TDatabaseUrl::Confined.
    TDatabaseManager(std::u16string DefaultLanguage, std::u16string_view DatabaseUrl,
                     const server::TSqlTimeouts& Timeouts = {}, bool Confined = false)
        : TSimpleApplicationManager(std::move(DefaultLanguage)) {
        if (!DatabaseUrl.empty()) FPool.emplace(DatabaseUrl, std::u16string_view(), Timeouts, Confined);
    }

    [[nodiscard]] TDatabase* GetDatabase() override { return FPool ? &FPool->Get() : nullptr; }
    /// Of any table with a primary key; null without a database. The tables handed out must not outlive this.
    [[nodiscard]] std::unique_ptr<TUserTable> GetTable(std::u16string_view TableName) override {
        if (!FPool) return nullptr;
        const auto Database = [this] { return &FPool->Get(); };
        return server::MakeUserTable(TableName, Database, FGuard);
    }
    /// What is asked before records of the tables above are opened and written. Before any is handed out.
    void SetGuard(server::TTableGuard Guard) { FGuard = std::move(Guard); }
    [[nodiscard]] bool TransactionOpen() override { return FPool && FPool->InTransaction(); }
    /// The same as GetDatabase; only with a database.
    [[nodiscard]] server::TSqlDatabase& Connection() { return FPool->Get(); }
    /// The calling thread needs its connection no more.
    void ReleaseThread() {
        if (FPool) FPool->ReleaseThread();
    }

private:
    std::optional<server::TDatabasePool> FPool;
    server::TTableGuard FGuard;
};

} // namespace zutools::zuhost
