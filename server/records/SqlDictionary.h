// Documents in the database: records whose table has a document kind are numbered, dated and journalled as
// they are written.
//
// ZuDocumentKinds names the tables with their kind and the prefix of its numbers, ZuDocuments holds a row for
// each document, ZuDocumentJournal one for each writing of it. UpgradeSchema makes the three; in a database
// without them no table has a kind. Numbers of a kind count from 1 without gaps: who takes one holds the kind
// until the transaction ends. Deletions do not come here, so a document outlives its record.

#pragma once

#include "host/Dictionary.h"
#include "platform/Clock.h"
#include "server/records/SqlUserTable.h"

#include <cstdint>
#include <optional>
#include <string>

namespace zutools::server {

/// Any thread may call; each call works on the calling thread's connection, in a transaction of its own or in
/// the open one, and blocks on the database. The user who is entered is the calling thread's session's.
class TSqlDictionary final : public TDictionaryService {
public:
    explicit TSqlDictionary(TDatabaseOfThread Database, std::int32_t ClientNumber = 1,
                            const platform::TClock& Clock = platform::SystemClock());

    /// A refusal to enter the document (not the record) is logged as an error; the record object is then as
    /// before and can be inserted again.
    [[nodiscard]] std::int64_t InsertDoc(TUserTable& Record) override;
    void UpdateDoc(TUserTable& Record) override;
    [[nodiscard]] std::int32_t ClientNumber() override { return FClientNumber; }

private:
    struct TKind;
    struct TEntry;
    [[nodiscard]] std::optional<TKind> FindKind(TSqlDatabase& Database, std::u16string_view Table) const;
    [[nodiscard]] TEntry EnterDocument(TSqlDatabase& Database, const TKind& Kind,
                                       std::u16string_view RecordID) const;
    void EnterJournal(TSqlDatabase& Database, std::int64_t Document, std::u16string_view Action,
                      std::u16string_view Changes) const;

    const TDatabaseOfThread FDatabase;
    const std::int32_t FClientNumber;
    const platform::TClock& FClock;
};

} // namespace zutools::server
