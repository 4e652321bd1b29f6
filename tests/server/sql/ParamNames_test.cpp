#include "platform/Text.h"
#include "server/sql/SqlEngine.h"

#include <gtest/gtest.h>

namespace zutools::server {
namespace {

const auto* const Lite = SqlEngines()[0];
const auto* const Pg = SqlEngines()[1];

struct TCase {
    const char* Name;
    const TSqlEngine* Engine;
    std::u16string_view Text;
    std::u16string_view Names; // joined with ","
    std::u16string_view Rewritten;
};

TEST(ParamNames, FoundAndRewritten) {
    const TCase Cases[] = {
        {"none", Pg, u"SELECT 1", u"", u"SELECT 1"},
        {"numbered by place on SQLite", Lite, u"a=:A AND b=:b OR c=:a", u"A,b",
         u"a= :z0 AND b= :z1 OR c= :z2"},
        {"numbered by name on PostgreSQL", Pg, u"a=:A AND b=:b OR c=:a", u"A,b", u"a= $1 AND b= $2 OR c= $1"},
        {"at both ends", Pg, u":x+:y", u"x,y", u" $1+ $2"},
        {"touching a word", Pg, u"LIMIT:n", u"n", u"LIMIT $1"},
        {"letters of any alphabet", Pg, u":Имя_1,", u"Имя_1", u" $1,"},
        {"digits are no name", Pg, u"a[1:2]", u"", u"a[1:2]"},
        {"a lone colon", Lite, u"a : b :", u"", u"a : b :"},
        {"literal", Lite, u"':a' || 'it''s :b' || :c", u"c", u"':a' || 'it''s :b' ||  :z0"},
        {"backslash is plain", Pg, u"'\\' || :a || '\\'", u"a", u"'\\' ||  $1 || '\\'"},
        {"backslash escapes with E", Pg, u"e'\\' :a' || :b", u"b", u"e'\\' :a' ||  $1"},
        {"E of a longer word", Pg, u"typE'\\' || :b", u"b", u"typE'\\' ||  $1"},
        {"E is none on SQLite", Lite, u"E'\\' || :b", u"b", u"E'\\' ||  :z0"},
        {"E goes on over a line break", Pg, u"E'a'\n '\\' :b' :c", u"c", u"E'a'\n '\\' :b'  $1"},
        {"E ends at the next token", Pg, u"E'a' + \n '\\' || :b", u"b", u"E'a' + \n '\\' ||  $1"},
        {"identifiers", Lite, u"\":a\" `:b` [:c] :d", u"d", u"\":a\" `:b` [:c]  :z0"},
        {"array index on PostgreSQL", Pg, u"x[:i]", u"i", u"x[ $1]"},
        {"comments become blanks", Lite, u"1--:a '\n+/* :b ' */2/**/:c", u"c", u"1 \n+ 2  :z0"},
        {"nested comment", Pg, u"/* /* :a */ :b */ :c", u"c", u"   $1"},
        {"no nesting on SQLite", Lite, u"/* /* :a */ :b", u"b", u"   :z0"},
        {"return ends a comment", Pg, u"--x\r:a", u"a", u" \r $1"},
        {"only a line feed does on SQLite", Lite, u"--x\r:a\n:b", u"b", u" \n :z0"},
        {"cast", Pg, u"x::date = :a::date", u"a", u"x::date =  $1::date"},
        {"named argument", Pg, u"f(a := :b)", u"b", u"f(a :=  $1)"},
        {"dollar quotes", Pg, u"$$ :a ' $$ $q$ :b $$ $q$ :c", u"c", u"$$ :a ' $$ $q$ :b $$ $q$  $1"},
        {"dollar in a word", Pg, u"a$b$ :c $b$", u"c", u"a$b$  $1 $b$"},
        {"operators of PostgreSQL", Pg, u"j ? 'a' AND j @> :b", u"b", u"j ? 'a' AND j @>  $1"},
        {"a comment inside a broken escape literal", Pg, u"E'a'\n/*\n*/'\\':a' :b", u"b",
         u"E'a'\n '\\':a'  $1"},
        {"no break outside the comment", Pg, u"E'a'/*\n*/'\\':a", u"a", u"E'a' '\\' $1"},
        {"unclosed literal", Pg, u"':a", u"", u"':a"},
        {"unclosed escape", Pg, u"E'\\", u"", u"E'\\"},
        {"unclosed comment", Lite, u"1 /* :a *", u"", u"1  "},
        {"unclosed dollar quote", Pg, u"$x$ :a $x", u"", u"$x$ :a $x"},
    };
    for (const TCase& Case : Cases) {
        const auto Scan = ScanStatement(Case.Text, Case.Engine->Words().Syntax);
        std::u16string Names;
        for (const auto Name : Scan.Names) Names.append(Names.empty() ? u"" : u",").append(Name);
        EXPECT_EQ(platform::Utf16ToUtf8(Names), platform::Utf16ToUtf8(Case.Names)) << Case.Name;
        EXPECT_EQ(platform::Utf16ToUtf8(RewriteStatement(Case.Text, Scan, Case.Engine->Words().Syntax)),
                  platform::Utf16ToUtf8(Case.Rewritten))
            << Case.Name;
    }
}

TEST(ParamNames, ForeignPlaceholders) {
    const std::tuple<const TSqlEngine*, std::u16string_view, std::u16string_view> Cases[] = {
        {Lite, u"a=?", u"?"},       {Lite, u"a=?12", u"?12"}, {Lite, u"a=@x", u"@x"},  {Lite, u"a=$x", u"$x"},
        {Lite, u"'?' \"@x\"", u""}, {Pg, u"a=$1", u"$1"},     {Pg, u"a ? b @ c", u""}, {Pg, u"'$1'", u""},
    };
    for (const auto& [Engine, Text, Expected] : Cases) {
        EXPECT_EQ(ScanStatement(Text, Engine->Words().Syntax).ForeignPlaceholder, Expected)
            << platform::Utf16ToUtf8(Text);
    }
}

TEST(ParamNames, WhatTheStatementDoes) {
    struct TRow {
        std::u16string_view Text;
        bool Transaction;
        bool Changes;
    };
    const TRow Rows[] = {
        {u"select 1", false, false},
        {u"Insert into t values(1)", false, true},
        {u"/* x */ UPDATE t SET a=1", false, true},
        {u"WITH x AS (DELETE FROM t RETURNING a) SELECT * FROM x", false, false},
        {u"WITH x AS (SELECT 1) DELETE FROM t", false, true},
        {u"CREATE TABLE insert_log(a)", false, false},
        {u"EXPLAIN DELETE FROM t", false, false},
        {u"begin", true, false},
        {u" ; COMMIT ;", true, false},
        {u"END TRANSACTION", true, false},
        {u"START TRANSACTION", true, false},
        {u"ROLLBACK WORK", true, false},
        {u"ROLLBACK TO s", false, false},
        {u"rollback transaction to savepoint s", false, false},
        {u"SAVEPOINT s", false, false},
        {u"PREPARE TRANSACTION 'x'", true, false},
        {u"PREPARE q AS SELECT 1", false, false},
    };
    for (const TRow& Row : Rows) {
        const auto Scan = ScanStatement(Row.Text, Pg->Words().Syntax);
        EXPECT_EQ(Scan.ControlsTransaction, Row.Transaction) << platform::Utf16ToUtf8(Row.Text);
        EXPECT_EQ(Scan.ChangesRows, Row.Changes) << platform::Utf16ToUtf8(Row.Text);
    }
}

TEST(ParamNames, AllColumns) {
    const std::pair<std::u16string_view, bool> Cases[] = {
        {u"SELECT * FROM t", true},          {u"select/**/*", true},
        {u"SELECT DISTINCT * FROM t", true}, {u"SELECT a, t.* FROM t", true},
        {u"SELECT 1, * FROM t", true},       {u"DELETE FROM t RETURNING *", true},
        {u"SELECT COUNT(*) FROM t", false},  {u"SELECT a*b, (a)*2, 'x'*:p*3 FROM t", false},
        {u"SELECT 'a, *' -- *", false},
    };
    for (const auto& [Text, Expected] : Cases) {
        EXPECT_EQ(ScanStatement(Text, Lite->Words().Syntax).AllColumns, Expected)
            << platform::Utf16ToUtf8(Text);
    }
}

TEST(ParamNames, SecondStatement) {
    EXPECT_EQ(ScanStatement(u"SELECT ';' /* ; */ ; ; -- x\n", Pg->Words().Syntax).SecondStatement,
              TScannedStatement::None);
    EXPECT_EQ(ScanStatement(u"SELECT 1; DROP TABLE t", Pg->Words().Syntax).SecondStatement, 10U);
    EXPECT_EQ(ScanStatement(u"SELECT 1;':a", Pg->Words().Syntax).SecondStatement, 9U);
}

} // namespace
} // namespace zutools::server
