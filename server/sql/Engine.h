// What the engines' files share among themselves and with the list of SqlEngine.cpp.

#pragma once

#include "platform/TextTools.h"
#include "server/sql/SqlEngine.h"

#include <map>

namespace zutools::server {

[[nodiscard]] const TSqlEngine& SqliteEngine();
[[nodiscard]] const TSqlEngine& PostgresEngine();

/// Says what is wrong without repeating the URL, which may hold a password. @throws EDatabaseError.
[[noreturn]] void RefuseUrl(std::u16string_view Scheme, std::u16string_view Fault, std::u16string_view Form);
/// @throws EDatabaseError for a column that cannot be read.
[[noreturn]] void RefuseField(std::u16string_view Field, std::u16string_view Why);

/// The fault that all engines share, an unpaired surrogate, and those units that `Refused` gives a reason
/// for.
template <class TRefused>
[[nodiscard]] std::optional<TTextFault> FindUnit(std::u16string_view Text, TRefused Refused) {
    for (std::size_t Pos = 0; Pos < Text.size(); ++Pos) {
        const char16_t C = Text[Pos];
        if (const std::u16string_view Why = Refused(C); !Why.empty()) return TTextFault{Pos, Why};
        if (!platform::IsSurrogate(C)) continue;
        const bool Pair =
            platform::IsHighSurrogate(C) && Pos + 1 < Text.size() && platform::IsLowSurrogate(Text[Pos + 1]);
        if (!Pair) return TTextFault{Pos, u"an unpaired surrogate"};
        ++Pos;
    }
    return std::nullopt;
}

/// Sets Length, or Precision and Scale, by the numbers in a type such as "VARCHAR(20)" or "NUMERIC(10, 2)".
void SetSizes(TColumn& Column, std::u16string_view Type);

/// Collects what a catalogue query tells, one row a column, sorted by tables. The query's columns `table`,
/// `kind`
/// ("table" or "view") and `stamp` are the table's.
class TTablesRead {
public:
    /// Of the row that the query stands on.
    void Enter(const TSelectQuery& Row, std::u16string Quoted);
    /// To the table entered last. `KeyPlace` counts from 1; 0 for a column outside of the key.
    void Add(TColumn Column, std::int64_t KeyPlace);
    [[nodiscard]] std::vector<TSqlTable> Tables();

private:
    void EndTable();

    std::vector<TSqlTable> FTables;
    std::map<std::int64_t, std::size_t> FKey; // of the last table
};

} // namespace zutools::server
