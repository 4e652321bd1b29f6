#include "server/records/SqlDictionary.h"

#include "host/Format.h"
#include "host/Numbers.h"
#include "host/Services.h"
#include "host/Session.h"
#include "host/UserTables.h"
#include "server/sql/SqlText.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <chrono>

namespace zutools::server {

namespace {

QDateTime Moment(const platform::TClock& Clock) {
    const auto Since = std::chrono::duration_cast<std::chrono::milliseconds>(Clock.Wall().time_since_epoch());
    return QDateTime::fromMSecsSinceEpoch(Since.count());
}

/// In UTC, so that hosts in several zones agree about the order.
std::u16string TimeStamp(const platform::TClock& Clock) {
    return FromQt(Moment(Clock).toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")));
}

/// The day of the host's own zone, as its people write it on paper.
std::u16string Today(const platform::TClock& Clock) {
    return FromQt(Moment(Clock).date().toString(Qt::ISODate));
}

QJsonValue ToJson(const TKXVariant& Value) {
    switch (Value.Kind()) {
    case TVariantKind::vkNull:
        return {};
    case TVariantKind::vkBoolean:
        return Value.AsBoolean();
    case TVariantKind::vkInteger:
    case TVariantKind::vkInt64:
        return static_cast<qint64>(Value.AsInt64());
    case TVariantKind::vkFloat:
        return Value.AsFloat();
    default:
        return ToQt(Value.AsString());
    }
}

TKXVariant FieldOrNothing(const TUserTable& Record, std::u16string_view Name, bool Stored) {
    try {
        return Stored ? Record.StoredField(Name) : Record.Field(Name);
    } catch (const EUserTableError&) {
        return {}; // binary
    }
}

/// {"Customer":["Smith","Jones"],...}: the fields that the write changed, as read and as the database has
/// them now. Of an inserted record all that it has, with nothing before.
std::u16string ChangesOf(const TUserTable& Record, bool Inserted) {
    QJsonObject Changes;
    for (const std::u16string& Name : Record.FieldNames()) {
        const auto Before = Inserted ? TKXVariant() : FieldOrNothing(Record, Name, true);
        const auto After = FieldOrNothing(Record, Name, false);
        if (Before == After) continue;
        Changes.insert(ToQt(Name), QJsonArray{ToJson(Before), ToJson(After)});
    }
    return FromQt(QString::fromUtf8(QJsonDocument(Changes).toJson(QJsonDocument::Compact)));
}

std::u16string CurrentUser() {
    const TSession* const Session = CurrentSession();
    return Session != nullptr ? Session->USR : std::u16string();
}

/// The newest document of a record.
std::optional<std::int64_t> FindDocument(TSqlDatabase& Database, std::u16string_view Table,
                                         std::u16string_view RecordID) {
    const auto Query = Database.CreateSelectQuery();
    Query->SetSQL(
        u"SELECT MAX(ID) AS ID FROM ZuDocuments WHERE TableName = :TableName AND RecordID = :RecordID");
    Query->SetString(u"TableName", Table);
    Query->SetString(u"RecordID", RecordID);
    Query->Open();
    if (!Query->Step() || Query->FieldIsNull(u"ID")) return std::nullopt;
    return Query->FieldAsInt64(u"ID");
}

void MoveDocument(TSqlDatabase& Database, std::int64_t Document, std::u16string_view RecordID) {
    const auto Query = Database.CreateExecQuery();
    Query->SetSQL(u"UPDATE ZuDocuments SET RecordID = :RecordID WHERE ID = :ID");
    Query->SetString(u"RecordID", RecordID);
    Query->SetInteger(u"ID", Document);
    Query->Execute();
}

} // namespace

struct TSqlDictionary::TKind {
    std::u16string Key;   // in ZuDocumentKinds
    std::u16string Table; // as the record names it
    std::u16string Kind;
    std::u16string Prefix;
};

struct TSqlDictionary::TEntry {
    std::int64_t Document;
    std::int64_t Number;
};

TSqlDictionary::TSqlDictionary(TDatabaseOfThread Database, std::int32_t ClientNumber,
                               const platform::TClock& Clock)
    : FDatabase(std::move(Database))
    , FClientNumber(ClientNumber)
    , FClock(Clock) {}

std::optional<TSqlDictionary::TKind> TSqlDictionary::FindKind(TSqlDatabase& Database,
                                                              std::u16string_view Table) const {
    if (!Database.TableExists(u"ZuDocumentKinds")) return std::nullopt;
    const auto Query = Database.CreateSelectQuery();
    Query->SetSQL(u"SELECT TableName, Kind, NumberPrefix FROM ZuDocumentKinds");
    Query->Open();
    std::optional<TKind> Found;
    while (Query->Step()) {
        TKind Kind{Query->FieldAsString(u"TableName"), std::u16string(Table), Query->FieldAsString(u"Kind"),
                   Query->FieldAsString(u"NumberPrefix")};
        if (Kind.Key == Table) return Kind;
        if (SameSqlName(Kind.Key, Table)) Found = std::move(Kind);
    }
    return Found;
}

TSqlDictionary::TEntry TSqlDictionary::EnterDocument(TSqlDatabase& Database, const TKind& Kind,
                                                     std::u16string_view RecordID) const {
    TEntry Entry{};
    {
        const auto Query = Database.CreateSelectQuery();
        Query->SetSQL(u"UPDATE ZuDocumentKinds SET LastNumber = LastNumber + 1 WHERE TableName = :TableName "
                      u"RETURNING LastNumber");
        Query->SetString(u"TableName", Kind.Key);
        Query->Open();
        if (!Query->Step()) {
            throw EDatabaseError(Format(u"The document kind of the table %s is gone", {Kind.Table}));
        }
        Entry.Number = Query->FieldAsInt64(u"LastNumber");
    }
    const auto Query = Database.CreateSelectQuery();
    Query->SetSQL(u"INSERT INTO ZuDocuments (Kind, Number, NumberText, DocumentDate, TableName, RecordID, "
                  u"CreatedBy, CreatedAt) VALUES (:Kind, :Number, :NumberText, :DocumentDate, :TableName, "
                  u":RecordID, :CreatedBy, :CreatedAt) RETURNING ID");
    Query->SetString(u"Kind", Kind.Kind);
    Query->SetInteger(u"Number", Entry.Number);
    Query->SetString(u"NumberText", Kind.Prefix + IntToStr(Entry.Number));
    Query->SetString(u"DocumentDate", Today(FClock));
    Query->SetString(u"TableName", Kind.Table);
    Query->SetString(u"RecordID", RecordID);
    Query->SetString(u"CreatedBy", CurrentUser());
    Query->SetString(u"CreatedAt", TimeStamp(FClock));
    Query->Open();
    if (!Query->Step()) throw EDatabaseError(u"The database did not keep the new row of ZuDocuments");
    Entry.Document = Query->FieldAsInt64(u"ID");
    return Entry;
}

void TSqlDictionary::EnterJournal(TSqlDatabase& Database, std::int64_t Document, std::u16string_view Action,
                                  std::u16string_view Changes) const {
    const auto Query = Database.CreateExecQuery();
    Query->SetSQL(u"INSERT INTO ZuDocumentJournal (DocumentID, At, Who, Action, Changes) "
                  u"VALUES (:DocumentID, :At, :Who, :Action, :Changes)");
    Query->SetInteger(u"DocumentID", Document);
    Query->SetString(u"At", TimeStamp(FClock));
    Query->SetString(u"Who", CurrentUser());
    Query->SetString(u"Action", Action);
    Query->SetLongText(u"Changes", Changes);
    Query->Execute();
}

std::int64_t TSqlDictionary::InsertDoc(TUserTable& Record) {
    TSqlDatabase* const Database = SqlDatabaseOf(FDatabase);
    if (Database == nullptr) return NoDictionary;
    const auto Kind = FindKind(*Database, Record.TableName());
    if (!Kind) return NoDictionary;

    TRecordWriting Writing(Record);
    TTransaction Scope(*Database, TTransaction::TWithin::Any);
    Record.Insert();
    TEntry Entry{};
    try {
        Entry = EnterDocument(*Database, *Kind, Record.RecordID());
        EnterJournal(*Database, Entry.Document, u"insert", ChangesOf(Record, true));
    } catch (const EDatabaseError& Error) {
        Services().Logger->Log(TLogLevel::Error,
                               Format(u"A record of %s was not inserted, because its document could not be "
                                      u"entered: %s",
                                      {Record.TableName(), Error.Message()}));
        return NotInserted;
    }
    Scope.Commit();
    Writing.Keep();
    return Entry.Number;
}

void TSqlDictionary::UpdateDoc(TUserTable& Record) {
    TSqlDatabase* const Database = SqlDatabaseOf(FDatabase);
    const std::u16string Table = Record.TableName();
    if (Database == nullptr || !Database->TableExists(u"ZuDocuments")) {
        throw EUserTableError(
            Format(u"The record of %s was not posted as a document: the database has no tables "
                   u"for documents; zuhost serve makes them at its start",
                   {Table}));
    }
    TRecordWriting Writing(Record);
    const std::u16string RecordID = Record.RecordID();
    TTransaction Scope(*Database, TTransaction::TWithin::Any);
    Record.Post(); // locks the record, so that only one of two gives it a document
    auto Document = FindDocument(*Database, Table, RecordID);
    if (!Document) {
        const auto Kind = FindKind(*Database, Table);
        if (!Kind) {
            throw EUserTableError(
                Format(u"The record %s of %s was not posted as a document: the table has no "
                       u"document kind; enter one in ZuDocumentKinds",
                       {RecordID, Table}));
        }
        Document = EnterDocument(*Database, *Kind, Record.RecordID()).Document;
    } else if (Record.RecordID() != RecordID) {
        MoveDocument(*Database, *Document, Record.RecordID());
    }
    EnterJournal(*Database, *Document, u"update", ChangesOf(Record, false));
    Scope.Commit();
    Writing.Keep();
}

} // namespace zutools::server
