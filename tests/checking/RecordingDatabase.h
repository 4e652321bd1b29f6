// A database that keeps the statements it is given, with their parameters, and answers what the test lays
// ready.

#pragma once

#include "host/Queries.h"
#include "host/Services.h"
#include "platform/Text.h"

#include <deque>
#include <string>
#include <utility>
#include <vector>

namespace zutools::tests {

/// One line a statement: its text, then `Name(kind)=value` for each parameter in the order of setting.
class TRecordingDatabase : public TDatabase {
public:
    using TRow = std::vector<std::pair<std::u16string, TKXVariant>>;

    bool HasTables = true;
    std::vector<std::string> Log;
    std::deque<std::vector<TRow>> Answers; // to the selects, in order; none left: no rows
    std::deque<int> Affected;              // by the statements, in order; none left: 1
    int FailAt = -1;                       // 0-based number of the line of Log that raises

    [[nodiscard]] bool TableExists(std::u16string_view Table) override {
        Asked.push_back(platform::Utf16ToUtf8(Table));
        return HasTables;
    }
    std::vector<std::string> Asked; // names of tables

    [[nodiscard]] std::unique_ptr<TSelectQuery> CreateSelectQuery() override;
    [[nodiscard]] std::unique_ptr<TExecQuery> CreateExecQuery() override;
    void StartTransaction() override { Note("BEGIN"); }
    void Commit() override { Note("COMMIT"); }
    void Rollback() override { Note("ROLLBACK"); }

    void Note(const std::string& Line) {
        Log.push_back(Line);
        if (static_cast<int>(Log.size()) == FailAt + 1) throw EDatabaseError(u"the statement failed");
    }
};

/// What both kinds of query share; `TBase` is TSelectQuery or TExecQuery.
template <class TBase>
class TRecordingQuery : public TBase {
public:
    explicit TRecordingQuery(TRecordingDatabase& Database)
        : FDatabase(Database) {}
    void SetSQL(std::u16string_view Statement) override { FLine = platform::Utf16ToUtf8(Statement); }
    void SetInteger(std::u16string_view Param, std::int64_t Value) override {
        Set(Param, "integer", std::to_string(Value));
    }
    void SetFloat(std::u16string_view Param, double Value) override {
        Set(Param, "float", std::to_string(Value));
    }
    void SetString(std::u16string_view Param, std::u16string_view Value) override {
        Set(Param, "string", platform::Utf16ToUtf8(Value));
    }
    void SetLongText(std::u16string_view Param, std::u16string_view Value) override {
        Set(Param, "long", platform::Utf16ToUtf8(Value));
    }
    void SetNull(std::u16string_view Param) override { Set(Param, "null", ""); }

protected:
    void Run() { FDatabase.Note(FLine); }
    TRecordingDatabase& FDatabase;

private:
    void Set(std::u16string_view Param, const char* Kind, const std::string& Value) {
        FLine += " | " + platform::Utf16ToUtf8(Param) + "(" + Kind + ")=" + Value;
    }
    std::string FLine;
};

class TRecordingSelect : public TRecordingQuery<TSelectQuery> {
public:
    using TRecordingQuery::TRecordingQuery;
    void Open() override {
        Run();
        if (FDatabase.Answers.empty()) return;
        FRows = FDatabase.Answers.front();
        FDatabase.Answers.pop_front();
    }
    [[nodiscard]] bool Step() override { return FNext++ < FRows.size(); }
    [[nodiscard]] int FieldCount() const override {
        return FRows.empty() ? 0 : static_cast<int>(Row().size());
    }
    [[nodiscard]] std::u16string FieldName(int Index) const override { return At(Index).first; }
    [[nodiscard]] int FieldIndex(std::u16string_view Field) const override {
        for (int Index = 0; Index < FieldCount(); ++Index) {
            if (At(Index).first == Field) return Index;
        }
        return -1;
    }
    [[nodiscard]] TKXVariant FieldValue(int Index) const override { return At(Index).second; }
    [[nodiscard]] std::u16string FieldAsString(std::u16string_view Field) const override {
        return Value(Field).AsString();
    }
    [[nodiscard]] int FieldAsInteger(std::u16string_view Field) const override {
        return Value(Field).AsInteger();
    }
    [[nodiscard]] std::int64_t FieldAsInt64(std::u16string_view Field) const override {
        return Value(Field).AsInt64();
    }
    [[nodiscard]] double FieldAsFloat(std::u16string_view Field) const override {
        return Value(Field).AsFloat();
    }
    [[nodiscard]] bool FieldIsNull(std::u16string_view Field) const override { return Value(Field).IsNull(); }
    void Close() override { FRows.clear(); }

private:
    [[nodiscard]] const TRecordingDatabase::TRow& Row() const {
        return FRows.at(FNext > 0 ? FNext - 1 : 0); // before the first step the first one names the columns
    }
    [[nodiscard]] const std::pair<std::u16string, TKXVariant>& At(int Index) const {
        return Row().at(static_cast<std::size_t>(Index));
    }
    [[nodiscard]] TKXVariant Value(std::u16string_view Field) const {
        const int Index = FieldIndex(Field);
        if (Index < 0) throw EDatabaseError(u"no column " + std::u16string(Field));
        return FieldValue(Index);
    }
    std::vector<TRecordingDatabase::TRow> FRows;
    std::size_t FNext = 0;
};

class TRecordingExec : public TRecordingQuery<TExecQuery> {
public:
    using TRecordingQuery::TRecordingQuery;
    void Execute() override {
        Run();
        if (FDatabase.Affected.empty()) return;
        FAffected = FDatabase.Affected.front();
        FDatabase.Affected.pop_front();
    }
    [[nodiscard]] int RowsAffected() const override { return FAffected; }

private:
    int FAffected = 1;
};

inline std::unique_ptr<TSelectQuery> TRecordingDatabase::CreateSelectQuery() {
    return std::make_unique<TRecordingSelect>(*this);
}
inline std::unique_ptr<TExecQuery> TRecordingDatabase::CreateExecQuery() {
    return std::make_unique<TRecordingExec>(*this);
}

/// Hands out one database; null for an application without one.
class TDatabaseManager : public TSimpleApplicationManager {
public:
    explicit TDatabaseManager(TDatabase* Database)
        : FDatabase(Database) {}
    [[nodiscard]] TDatabase* GetDatabase() override { return FDatabase; }

private:
    TDatabase* FDatabase;
};

} // namespace zutools::tests
