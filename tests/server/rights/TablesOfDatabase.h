// An application whose tables are those of a database.

#pragma once

#include "host/Services.h"
#include "server/records/SqlUserTable.h"

namespace zutools::server {

class TTablesOfDatabase : public TSimpleApplicationManager {
public:
    explicit TTablesOfDatabase(TDatabaseOfThread Database)
        : FDatabase(std::move(Database)) {}
    std::unique_ptr<TUserTable> GetTable(std::u16string_view Name) override {
        return MakeUserTable(Name, FDatabase);
    }

private:
    TDatabaseOfThread FDatabase;
};

} // namespace zutools::server
