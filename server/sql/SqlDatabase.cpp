#include "server/sql/SqlDatabase.h"

#include "host/Numbers.h"
#include "server/sql/Connection.h"
#include "server/sql/SqlText.h"

#include <algorithm>
#include <cmath>

namespace zutools::server {

namespace {

/// The values that a query was given, by name.
class TParamValues {
public:
    void Clear() { FValues.clear(); }

    void Set(std::u16string_view Name, TKXVariant Value) {
        const auto Found = Find(Name);
        if (Found != FValues.end()) {
            Found->Value = std::move(Value);
        } else {
            FValues.push_back({std::u16string(Name), std::move(Value)});
        }
    }

    /// One value for each of the statement's names. @throws EDatabaseError that names what is missing or too
    /// many.
    [[nodiscard]] std::vector<TKXVariant> Match(const TPrepared& Statement) {
        std::vector<TKXVariant> Matched;
        std::u16string Missing;
        for (const auto Name : Statement.Scan.Names) {
            const auto Found = Find(Name);
            if (Found != FValues.end()) {
                Matched.push_back(Found->Value);
            } else {
                AppendName(Missing, Name);
            }
        }
        std::u16string Fault;
        if (!Missing.empty()) Fault = u"No value was given for " + Missing;
        if (Matched.size() < FValues.size()) {
            std::u16string Surplus;
            for (const TValue& Value : FValues) {
                if (!IsIn(Statement.Scan.Names, Value.Name)) AppendName(Surplus, Value.Name);
            }
            if (!Surplus.empty()) {
                if (!Fault.empty()) Fault += u"; ";
                Fault += u"The statement has no parameter " + Surplus;
            }
        }
        if (Fault.empty()) return Matched;
        throw EDatabaseError(Fault + u". Statement: " + ShownStatement(Statement.Text));
    }

private:
    struct TValue {
        std::u16string Name;
        TKXVariant Value;
    };

    std::vector<TValue>::iterator Find(std::u16string_view Name) {
        return std::find_if(FValues.begin(), FValues.end(),
                            [&](const TValue& Value) { return SameSqlName(Value.Name, Name); });
    }

    static bool IsIn(const std::vector<std::u16string_view>& Names, std::u16string_view Name) {
        return std::any_of(Names.begin(), Names.end(), [&](auto Known) { return SameSqlName(Known, Name); });
    }

    static void AppendName(std::u16string& List, std::u16string_view Name) {
        if (!List.empty()) List += u", ";
        List.append(u":").append(Name);
    }

    std::vector<TValue> FValues;
};

/// A NUMERIC as the server writes it: "5.00" is a whole number.
std::u16string_view WithoutZeroFraction(std::u16string_view Text) {
    const std::size_t Point = Text.find(u'.');
    if (Point == Text.npos || Point == 0) return Text;
    return Text.find_first_not_of(u'0', Point + 1) == Text.npos ? Text.substr(0, Point) : Text;
}

} // namespace

/// What both kinds of query share: the statement and its parameters.
template <class TBase>
class TQueryOn : public TBase {
public:
    explicit TQueryOn(const TSqlEngine& Engine)
        : FEngine(Engine) {}

    void SetSQL(std::u16string_view Statement) override {
        FStatement = Statement;
        FParams.Clear();
    }
    void SetInteger(std::u16string_view Param, std::int64_t Value) override {
        FParams.Set(Param, TKXVariant(Value));
    }
    void SetFloat(std::u16string_view Param, double Value) override {
        if (std::isnan(Value)) Refuse(Param, u"is not a number"); // SQLite would store NULL
        FParams.Set(Param, TKXVariant(Value));
    }
    void SetString(std::u16string_view Param, std::u16string_view Value) override {
        if (const auto Fault = FEngine.FindTextFault(Value)) {
            Refuse(Param, std::u16string(u"holds ").append(Fault->Reason) + u" (at unit " +
                              IntToStr(static_cast<std::int64_t>(Fault->Offset)) + u")");
        }
        FParams.Set(Param, TKXVariant(Value));
    }
    void SetLongText(std::u16string_view Param, std::u16string_view Value) override {
        SetString(Param, Value);
    }
    void SetNull(std::u16string_view Param) override { FParams.Set(Param, TKXVariant()); }

protected:
    std::u16string FStatement;
    TParamValues FParams;

private:
    [[noreturn]] void Refuse(std::u16string_view Param, std::u16string_view Why) const {
        throw EDatabaseError(std::u16string(u"The value of :").append(Param).append(u" ").append(Why) +
                             u". Statement: " + ShownStatement(FStatement));
    }

    const TSqlEngine& FEngine;
};

class TSqlDatabase::TSelect final : public TQueryOn<TSelectQuery> {
public:
    explicit TSelect(TConnection& Connection)
        : TQueryOn(Connection.Engine())
        , FConnection(Connection) {}
    ~TSelect() override { Release(); }
    TSelect(const TSelect&) = delete;
    TSelect& operator=(const TSelect&) = delete;

    void SetSQL(std::u16string_view Statement) override {
        Release();
        TQueryOn::SetSQL(Statement);
    }

    void Open() override {
        Release();
        auto Statement = FConnection.Take(FStatement);
        const auto Values = FParams.Match(*Statement);
        FConnection.Run(*Statement, Values);
        FGeneration = FConnection.Generation();
        FOpen = std::move(Statement);
    }

    bool Step() override {
        RequireOpen();
        if (FGeneration != FConnection.Generation()) {
            throw EDatabaseError(u"The result was lost with the connection. Statement: " +
                                 ShownStatement(FStatement));
        }
        FOnRow = false;
        FOnRow = FConnection.Step(*FOpen);
        return FOnRow;
    }

    int FieldCount() const override { return static_cast<int>(Names().size()); }

    std::u16string FieldName(int Index) const override {
        CheckIndex(Index);
        return Names()[static_cast<std::size_t>(Index)];
    }

    int FieldIndex(std::u16string_view Field) const override {
        const auto& All = Names();
        const auto Found = std::find_if(All.begin(), All.end(),
                                        [&](const std::u16string& Name) { return SameSqlName(Name, Field); });
        return Found == All.end() ? -1 : static_cast<int>(Found - All.begin());
    }

    TKXVariant FieldValue(int Index) const override {
        CheckIndex(Index);
        if (!FOnRow)
            throw EDatabaseError(u"The query stands on no row. Statement: " + ShownStatement(FStatement));
        return FOpen->Statement->Value(Index, Names()[static_cast<std::size_t>(Index)]);
    }

    std::u16string FieldAsString(std::u16string_view Field) const override { return Value(Field).AsString(); }

    int FieldAsInteger(std::u16string_view Field) const override {
        return Whole(Field, &TKXVariant::AsInteger);
    }
    std::int64_t FieldAsInt64(std::u16string_view Field) const override {
        return Whole(Field, &TKXVariant::AsInt64);
    }
    double FieldAsFloat(std::u16string_view Field) const override {
        return Convert(Field, Value(Field), &TKXVariant::AsFloat);
    }
    bool FieldIsNull(std::u16string_view Field) const override { return Value(Field).IsNull(); }

    void Close() override { Release(); }

private:
    void Release() noexcept {
        FOnRow = false;
        FNames.clear();
        if (FOpen) FConnection.Return(std::move(FOpen));
    }

    void RequireOpen() const {
        FConnection.CheckThread();
        if (!FOpen) throw EDatabaseError(u"The query is not open. Statement: " + ShownStatement(FStatement));
    }

    void CheckIndex(int Index) const {
        if (Index >= 0 && Index < FieldCount()) return;
        throw EDatabaseError(u"There is no column of index " + IntToStr(Index) + u". Statement: " +
                             ShownStatement(FStatement));
    }

    const std::vector<std::u16string>& Names() const {
        RequireOpen();
        if (FNames.empty()) FNames = FOpen->Statement->ColumnNames();
        return FNames;
    }

    TKXVariant Value(std::u16string_view Field) const {
        const int Index = FieldIndex(Field);
        if (Index >= 0) return FieldValue(Index);
        throw EDatabaseError(std::u16string(u"There is no column ").append(Field) + u". Statement: " +
                             ShownStatement(FStatement));
    }

    template <class TNumber>
    TNumber Whole(std::u16string_view Field, TNumber (TKXVariant::*As)() const) const {
        const TKXVariant Found = Value(Field);
        if (Found.Kind() != TVariantKind::vkString) return Convert(Field, Found, As);
        return Convert(Field, TKXVariant(WithoutZeroFraction(Found.StringView())), As);
    }

    template <class TNumber>
    static TNumber Convert(std::u16string_view Field, const TKXVariant& Value,
                           TNumber (TKXVariant::*As)() const) {
        if (Value.IsNull()) return {};
        try {
            return (Value.*As)();
        } catch (const EVariantError& Error) {
            throw EDatabaseError(std::u16string(u"Column ").append(Field) + u": " + Error.Message());
        }
    }

    TConnection& FConnection;
    std::unique_ptr<TPrepared> FOpen;
    unsigned FGeneration = 0;
    bool FOnRow = false;
    mutable std::vector<std::u16string> FNames; // of the open result, read when first asked for
};

class TSqlDatabase::TExec final : public TQueryOn<TExecQuery> {
public:
    explicit TExec(TConnection& Connection)
        : TQueryOn(Connection.Engine())
        , FConnection(Connection) {}

    void Execute() override {
        FRowsAffected = 0;
        auto Statement = FConnection.Take(FStatement);
        const auto Values = FParams.Match(*Statement);
        FConnection.Run(*Statement, Values);
        while (FConnection.Step(*Statement)) {
        } // some engines work row by row
        // For other statements SQLite repeats the number of an earlier one.
        if (Statement->Scan.ChangesRows) FRowsAffected = Statement->Statement->RowsAffected();
        FConnection.Return(std::move(Statement));
    }

    int RowsAffected() const override { return FRowsAffected; }

private:
    TConnection& FConnection;
    int FRowsAffected = 0;
};

TSqlDatabase::TSqlDatabase(TDatabaseUrl Url, const TSqlTimeouts& Timeouts)
    : FConnection(std::make_unique<TConnection>(std::move(Url), Timeouts)) {}

TSqlDatabase::~TSqlDatabase() = default;

std::uint64_t TSqlDatabase::RoundTrips() const {
    return FConnection->RoundTrips();
}
const TSqlEngine& TSqlDatabase::Engine() const {
    return FConnection->Engine();
}
const std::u16string& TSqlDatabase::DisplayUrl() const {
    return FConnection->DisplayUrl();
}
bool TSqlDatabase::InTransaction() const {
    return FConnection->InTransaction();
}

const TSqlTimeouts& TSqlDatabase::Timeouts() const {
    return FConnection->Timeouts();
}
void TSqlDatabase::SetTimeouts(const TSqlTimeouts& Timeouts) {
    FConnection->SetTimeouts(Timeouts);
}

bool TSqlDatabase::TableExists(std::u16string_view Table) {
    return Engine().TableExists(*this, Table);
}
std::vector<TSqlTable> TSqlDatabase::FindTables(std::u16string_view Name) {
    return Engine().FindTables(*this, Name);
}

std::unique_ptr<TSelectQuery> TSqlDatabase::CreateSelectQuery() {
    return std::make_unique<TSelect>(*FConnection);
}
std::unique_ptr<TExecQuery> TSqlDatabase::CreateExecQuery() {
    return std::make_unique<TExec>(*FConnection);
}

void TSqlDatabase::StartTransaction() {
    FConnection->StartTransaction();
}
void TSqlDatabase::Commit() {
    FConnection->Commit();
}
void TSqlDatabase::Rollback() {
    FConnection->Rollback();
}

TSqlDatabase* SqlDatabaseOf(const TDatabaseOfThread& Database) {
    return dynamic_cast<TSqlDatabase*>(Database.Get());
}

std::unique_ptr<TDatabase> OpenDatabase(std::u16string_view Url, std::u16string_view BaseFolder) {
    return std::make_unique<TSqlDatabase>(ParseDatabaseUrl(Url, BaseFolder));
}

} // namespace zutools::server
