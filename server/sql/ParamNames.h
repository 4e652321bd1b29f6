// The named parameters of a SQL statement: where they stand, told apart from everything that only looks like
// them.
//
// Plain text work without a driver; any thread. Literals, quoted identifiers, comments, casts (`x::date`) and
// PostgreSQL's dollar quotes are passed over. A statement that never closes a quote or comment scans to its
// end: the database reports it.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::server {

/// How a database reads a statement, where databases differ.
struct TSqlSyntax {
    bool EscapeLiterals = false;    // E'\'' has backslash escapes
    bool DollarQuotes = false;      // $q$...$q$ is a literal
    bool NestedComments = false;    // /* /* */ */
    bool ReturnEndsComment = false; // a lone carriage return ends "--"
    bool MoreQuotes = false;        // `x` and [x] are names
    bool MarksOperate = false;      // "?" and "@" are operators
    /// What becomes of parameters: this and a number, which counts names from 1 or places from 0.
    std::u16string_view ParamMark = u":z";
    bool NumberedByName = false;
};

/// Offsets and lengths count UTF-16 units.
struct TTextSpan {
    std::size_t Offset = 0;
    std::size_t Length = 0;
};

/// One place of a parameter, its colon included.
struct TStatementParam {
    TTextSpan Place;
    std::size_t Name = 0; // index in TScannedStatement::Names
};

/// The views look into the text that was scanned.
struct TScannedStatement {
    static constexpr std::size_t None = static_cast<std::size_t>(-1);

    /// Without the colon, each once (ignoring the case of A to Z) in the order of first use, as first
    /// spelled.
    std::vector<std::u16string_view> Names;
    std::vector<TStatementParam> Params; // in text order
    std::vector<TTextSpan> Comments;     // in text order
    /// A placeholder that is none of ours but that the database would take for one: "?", "@x", "$x", "$1".
    /// Empty: there is none.
    std::u16string_view ForeignPlaceholder;
    /// Where a second statement begins, behind a semicolon. Bodies of triggers look like that too.
    std::size_t SecondStatement = None;
    std::u16string_view FirstWord;
    /// BEGIN, COMMIT, ROLLBACK and their like, but not savepoints.
    bool ControlsTransaction = false;
    /// Columns are asked for by "*", so that their number depends on the tables.
    bool AllColumns = false;
    /// INSERT, UPDATE, DELETE, REPLACE or MERGE, also behind a WITH.
    bool ChangesRows = false;
};

[[nodiscard]] TScannedStatement ScanStatement(std::u16string_view Text, const TSqlSyntax& Syntax);

/// The statement for the driver: comments become blanks, parameters the marks of the syntax: `$1`, `$2`, ...
/// by name, or `:z0`, `:z1`, ... one for each place.
[[nodiscard]] std::u16string RewriteStatement(std::u16string_view Text, const TScannedStatement& Scan,
                                              const TSqlSyntax& Syntax);

/// Equal but for the case of A to Z.
[[nodiscard]] bool SameSqlName(std::u16string_view Left, std::u16string_view Right);
/// A to Z become a to z.
[[nodiscard]] std::u16string FoldSqlName(std::u16string_view Name);

} // namespace zutools::server
