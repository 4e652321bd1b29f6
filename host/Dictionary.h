// Documents: records that are numbered, dated and journalled as they are written.

#pragma once

#include <cstdint>
#include <string_view>

namespace zutools {

class TUserTable;

class TDictionaryService {
public:
    virtual ~TDictionaryService() = default;

    /// What InsertDoc gives instead of a document's number.
    static constexpr std::int64_t NoDictionary = -1; // the table has no document kind
    static constexpr std::int64_t NotInserted = -2;  // the document could not be entered

    /// Inserts the record and enters its document, both or none. The document's number, or one of the two
    /// negative results, which wrote nothing.
    /// @throws EUserTableError, EDatabaseError from writing the record.
    [[nodiscard]] virtual std::int64_t InsertDoc(TUserTable& Record) = 0;
    /// Posts the record and enters the change in its document's journal, both or none. A record without a
    /// document gets one.
    /// @throws EUserTableError, EDatabaseError.
    virtual void UpdateDoc(TUserTable& Record) = 0;
    /// The number of this installation among those that exchange documents, for messages.
    [[nodiscard]] virtual std::int32_t ClientNumber() = 0;
};

/// For applications without documents: InsertDoc gives NoDictionary, UpdateDoc raises EUserTableError.
class TNoDictionary : public TDictionaryService {
public:
    [[nodiscard]] std::int64_t InsertDoc(TUserTable& Record) override;
    void UpdateDoc(TUserTable& Record) override;
    [[nodiscard]] std::int32_t ClientNumber() override { return 0; }
};

} // namespace zutools
