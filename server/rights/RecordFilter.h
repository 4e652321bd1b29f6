// Record filters: which records of a table a right covers, as a condition on their fields.
//
//     Department = :Department AND Status IN ('new', 'open') AND NOT (Amount = 0 OR Owner IS NULL)
//
// A condition compares a field with `=` or `<>` to a text ('it''s'), a number (12, -0.5) or an attribute of
// the user (:Department; :UserName and :Profile are always there), or tells IN (a, b), NOT IN, IS NULL, IS
// NOT NULL. NOT binds closest, then AND, then OR. Names of fields and attributes and the words ignore the
// case of A to Z; a field that is no plain word stands in double quotes. The record says which values are the
// same (TUserTable::SameValue): numbers by their value, dates by the moment, texts exactly. As in SQL, a
// comparison with an empty (null) field is neither true nor false, and only what is true is covered.

#pragma once

#include "host/Security.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace zutools::server {

/// A filter that cannot be used; the message shows it, and names the position and the remedy.
class ERecordFilter : public Exception {
public:
    using Exception::Exception;
};

/// The values that a filter looks at.
enum class TRecordState {
    Stored,  // as they were read
    Current, // as they are to be written
};

/// A parsed filter. Immutable; any thread may use it.
class TRecordFilter {
public:
    static constexpr std::size_t MaxLength = 4096; // characters
    static constexpr int MaxNesting = 100;         // parentheses and NOTs inside each other

    /// @throws ERecordFilter.
    explicit TRecordFilter(std::u16string_view Text);
    ~TRecordFilter();
    TRecordFilter(TRecordFilter&&) noexcept;
    TRecordFilter& operator=(TRecordFilter&&) = delete;

    /// All names are looked up before anything is compared, so an unknown one always shows. A field whose
    /// value only the write will tell (TUserTable::IsPending) may have any; the written record decides.
    /// @throws ERecordFilter for a field that the record or an attribute that the user has not, and for a
    /// field
    ///         that cannot be compared to what it is compared to; EUserTableError from the record.
    [[nodiscard]] bool Covers(const TUserInfo& User, const TUserTable& Record, TRecordState State) const;

private:
    struct TNode;
    class TParser;
    class TEvaluation;
    std::u16string FText;
    std::unique_ptr<const TNode> FRoot;
};

/// A plain word: a letter or "_", then letters, digits and "_".
[[nodiscard]] bool IsRecordFilterName(std::u16string_view Name);

} // namespace zutools::server
