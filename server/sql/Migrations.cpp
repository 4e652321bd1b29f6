#include "server/sql/Migrations.h"

#include "host/Format.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "platform/TextTools.h"
#include "server/sql/Schema.h"

#include <QByteArray>
#include <QCryptographicHash>

#include <algorithm>
#include <filesystem>
#include <map>

namespace zutools::server {

namespace {

namespace fs = std::filesystem;

constexpr std::u16string_view MakeTable = u"CREATE TABLE IF NOT EXISTS ZuAppMigrations ("
                                          u"Number INTEGER NOT NULL PRIMARY KEY, "
                                          u"Name TEXT NOT NULL, "
                                          u"Hash TEXT NOT NULL, "
                                          u"AppliedAt TIMESTAMP DEFAULT CURRENT_TIMESTAMP NOT NULL)";

std::u16string HashOf(std::u16string_view Text) {
    std::string Bytes = platform::Utf16ToUtf8(Text);
    std::erase(Bytes, '\r');
    const QByteArray Hash =
        QCryptographicHash::hash(QByteArray(Bytes.data(), static_cast<qsizetype>(Bytes.size())),
                                 QCryptographicHash::Sha256)
            .toHex();
    return platform::Utf8ToUtf16(Hash.toStdString());
}

/// The digits before the first dash; 0 when there are none.
int NumberOf(const std::string& Name) {
    int Number = 0;
    std::size_t Digits = 0;
    while (Digits < Name.size() && Digits < 9 && platform::IsAsciiDigit(Name[Digits]))
        Number = Number * 10 + (Name[Digits++] - '0');
    return Digits > 0 && Digits < Name.size() && Name[Digits] == '-' ? Number : 0;
}

std::map<int, TAppMigration> FilesOf(std::u16string_view Folder) {
    std::map<int, TAppMigration> Files;
    for (const fs::directory_entry& Each : fs::directory_iterator(fs::path(Folder))) {
        const std::string Name = Each.path().filename().string();
        if (!Name.ends_with(".sql") || Name.starts_with('.')) continue;
        TAppMigration File;
        File.Number = NumberOf(Name);
        File.Name = platform::Utf8ToUtf16(Name);
        if (File.Number == 0) {
            throw EDatabaseError(Format(u"%s: a migration is named like 001-tables.sql", {File.Name}));
        }
        const auto Text = platform::Utf8ToUtf16Strict(platform::TReadFile(Folder, File.Name).ReadAll());
        if (Text.Error) throw EDatabaseError(Format(u"%s: malformed UTF-8", {File.Name}));
        File.Text = Text.Text;
        if (File.Text.starts_with(platform::ByteOrderMark)) File.Text.erase(0, 1);
        File.Hash = HashOf(File.Text);
        const auto [Place, Fresh] = Files.try_emplace(File.Number, File);
        if (!Fresh)
            throw EDatabaseError(Format(u"%s and %s have the same number", {Place->second.Name, File.Name}));
    }
    return Files;
}

/// Past a quoted text, a comment or a $tag$ body that begins at `At`; `At` where none does.
std::size_t Behind(std::u16string_view Text, std::size_t At) {
    const auto Until = [&](std::u16string_view End, std::size_t From) {
        const std::size_t Found = Text.find(End, From);
        return Found == Text.npos ? Text.size() : Found + End.size();
    };
    const char16_t First = Text[At];
    if (First == u'\'' || First == u'"') return Until({&First, 1}, At + 1);
    if (Text.substr(At, 2) == u"--") return Until(u"\n", At);
    if (Text.substr(At, 2) == u"/*") return Until(u"*/", At + 2);
    if (First != u'$') return At;
    std::size_t End = At + 1;
    while (End < Text.size() &&
           (platform::IsAsciiLetter(Text[End]) || platform::IsAsciiDigit(Text[End]) || Text[End] == u'_'))
        ++End;
    if (End == Text.size() || Text[End] != u'$') return At;
    return Until(Text.substr(At, End + 1 - At), End + 1);
}

} // namespace

std::vector<TSqlPiece> SplitSql(std::u16string_view Text) {
    std::vector<TSqlPiece> Pieces;
    const auto Add = [&](std::size_t Begin, std::size_t End) {
        // Blanks and comments in front are no part of it.
        while (Begin < End) {
            const bool Blank = Text[Begin] <= u' ';
            const bool Comment = Text.substr(Begin, 2) == u"--" || Text.substr(Begin, 2) == u"/*";
            if (!Blank && !Comment) break;
            Begin = Blank ? Begin + 1 : Behind(Text, Begin);
        }
        if (Begin >= End) return;
        const auto Line = std::count(Text.begin(), Text.begin() + static_cast<std::ptrdiff_t>(Begin), u'\n');
        Pieces.push_back({Text.substr(Begin, End - Begin), static_cast<int>(Line) + 1});
    };
    std::size_t Begin = 0;
    for (std::size_t At = 0; At < Text.size();) {
        if (Text[At] == u';') {
            Add(Begin, At);
            Begin = At + 1;
        }
        At = std::max(Behind(Text, At), At + 1);
    }
    Add(Begin, Text.size());
    return Pieces;
}

std::vector<TAppMigration> ListAppMigrations(TSqlDatabase& Database, std::u16string_view Folder) {
    auto Files = FilesOf(Folder);
    if (Database.TableExists(u"ZuAppMigrations")) {
        const auto Query = Database.CreateSelectQuery();
        Query->SetSQL(u"SELECT Number, Name, Hash, AppliedAt FROM ZuAppMigrations ORDER BY Number");
        Query->Open();
        while (Query->Step()) {
            const auto File = Files.find(Query->FieldAsInteger(u"Number"));
            const std::u16string Name = Query->FieldAsString(u"Name");
            if (File == Files.end()) {
                throw EDatabaseError(
                    Format(u"the database %s has had the migration %s, which is not in %s: use the newer "
                           u"program, or put the file back",
                           {Database.DisplayUrl(), Name, Folder}));
            }
            if (File->second.Hash != Query->FieldAsString(u"Hash")) {
                throw EDatabaseError(
                    Format(u"%s was changed after it was run on %s: put it back as it was, and "
                           u"write what is new into another file",
                           {File->second.Name, Database.DisplayUrl()}));
            }
            File->second.AppliedAt = Query->FieldAsString(u"AppliedAt");
        }
    }
    std::vector<TAppMigration> Result;
    for (auto& [Number, File] : Files) Result.push_back(std::move(File));
    return Result;
}

int RunAppMigrations(const TSchemaLock& Lock, std::u16string_view Folder) {
    TSqlDatabase& Database = Lock.Database();
    ExecuteStatement(Database, MakeTable);
    int Count = 0;
    for (const TAppMigration& File : ListAppMigrations(Database, Folder)) {
        if (!File.AppliedAt.empty()) continue;
        TTransaction Transaction(Database);
        const std::u16string Text = InWordsOf(Database.Engine(), File.Text);
        for (const TSqlPiece& Piece : SplitSql(Text)) {
            try {
                ExecuteStatement(Database, Piece.Text);
            } catch (const EDatabaseError& Error) {
                throw EDatabaseError(Format(u"%s:%d: %s", {File.Name, Piece.Line, Error.Message()}));
            }
        }
        const auto Query = Database.CreateExecQuery();
        Query->SetSQL(u"INSERT INTO ZuAppMigrations (Number, Name, Hash) VALUES (:Number, :Name, :Hash)");
        Query->SetInteger(u"Number", File.Number);
        Query->SetString(u"Name", File.Name);
        Query->SetString(u"Hash", File.Hash);
        Query->Execute();
        Transaction.Commit();
        ++Count;
    }
    return Count;
}

} // namespace zutools::server
