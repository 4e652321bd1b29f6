// Tables of the application as the record blocker sees them: one record of one table, read, changed in
// memory, and written back.
//
// A record outlives the request that opened it: it holds values and no connection, and each call that needs
// the database uses the calling thread's. Calls come from any thread; implementations guard themselves. Names
// of fields compare ignoring the case of A to Z.
//
// Who checks a record and then writes it does both under a TRecordWriting, so that what is written is what
// was checked:
//
//     TRecordWriting Writing(Record, RequireRights); // asked again before the transaction commits
//     RequireRights(Record);
//     Record.Post();
//     Writing.Keep();

#pragma once

#include "host/Exception.h"
#include "host/ScriptObjects.h"
#include "host/Variant.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zutools {

class TUserTable;

/// A record that cannot be read or written as asked; the message names the table, the record and the remedy.
class EUserTableError : public Exception {
public:
    using Exception::Exception;
};

/// The record was changed or deleted by somebody else since it was opened; nothing was written.
class ERecordChanged : public EUserTableError {
public:
    using EUserTableError::EUserTableError;
};

/// The fields of a record by name, for scripts: `block.RecordInterface.Customer = "x"`.
class TRecordInterface : public TIObject {
public:
    explicit TRecordInterface(TUserTable& Table)
        : FTable(Table) {}
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    /// A field's value. @throws EIObjectError when arguments are given.
    bool GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                             TKXVariant& Result) override;
    /// Writes a field in memory. @throws EUserTableError when the value does not fit the field.
    bool SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount) override;

    /// For scripts the record is gone, although somebody keeps its memory.
    void RetireForScripts() { Retire(); }

private:
    TUserTable& FTable;
};

/// Asked with the record as it is to be written, or as the database returned it; raises to refuse.
using TRecordCheck = std::function<void(const TUserTable& Record)>;

class TUserTable {
public:
    TUserTable()
        : FInterface(*this) {}
    virtual ~TUserTable() = default;
    TUserTable(const TUserTable&) = delete;
    TUserTable& operator=(const TUserTable&) = delete;

    [[nodiscard]] virtual std::u16string TableName() const = 0;

    /// Reads the record with the key `RecordID`, the values of its key columns joined with ";". False when
    /// there is none.
    /// @throws EUserTableError for an ID that does not fit the key, EDatabaseError from the database.
    [[nodiscard]] virtual bool Open(std::u16string_view RecordID) = 0;
    /// An empty new record with the columns' defaults.
    virtual void OpenNew() = 0;
    /// The key of the record as it stands in the database, joined with ";"; after Insert the new one.
    [[nodiscard]] virtual std::u16string RecordID() const = 0;

    /// In the order of the table.
    [[nodiscard]] virtual std::vector<std::u16string> FieldNames() const = 0;
    [[nodiscard]] virtual bool HasField(std::u16string_view Name) const = 0;
    /// The value with the changes made since. @throws EUserTableError for an unknown name.
    [[nodiscard]] virtual TKXVariant Field(std::u16string_view Name) const = 0;
    /// The value as it was read; null values in a new record. Under a TRecordWriting the value as it was when
    /// that began, after the write too. @throws EUserTableError for an unknown name.
    [[nodiscard]] virtual TKXVariant StoredField(std::u16string_view Name) const = 0;
    /// Whether a value of the field, not null, is the same as a text or a number: by what the table stores,
    /// not by spelling ("0.00" in a field of decimals is 0). Empty when the field cannot hold `Other`. By
    /// default the kind of the value decides: numbers compare by value, dates by the moment, texts exactly.
    /// @throws EUserTableError for an unknown name.
    [[nodiscard]] virtual std::optional<bool> SameValue(std::u16string_view Name, const TKXVariant& Value,
                                                        const TKXVariant& Other) const;
    /// Whether only the write will tell the value (a computed field of a changed record), and the check of
    /// the TRecordWriting will see it then. @throws EUserTableError for an unknown name.
    [[nodiscard]] virtual bool IsPending(std::u16string_view /*Name*/) const { return false; }
    /// @throws EUserTableError for an unknown name, a value that does not fit the field's type, and while
    /// another thread writes the record: the field keeps its value.
    virtual void SetField(std::u16string_view Name, const TKXVariant& Value) = 0;

    // Each writes in one transaction. A write that raises changed nothing, and the record can be written
    // again.

    /// Writes the changed fields. Afterwards the record is as if opened anew.
    /// @throws ERecordChanged, EDatabaseError.
    virtual void Post() = 0;
    /// @throws ERecordChanged, EDatabaseError.
    virtual void Delete() = 0;
    /// Writes a new record; RecordID is then its key. @throws EDatabaseError.
    virtual void Insert() = 0;

    /// For scripts; lives as long as this object.
    [[nodiscard]] TRecordInterface& RecordInterface() { return FInterface; }

protected:
    // Of TRecordWriting. Tables that nobody else can change meanwhile need neither.
    friend class TRecordWriting;
    virtual void BeginWriting(TRecordCheck /*Check*/) {}
    virtual void EndWriting(bool /*Keep*/) noexcept {}

private:
    TRecordInterface FInterface;
};

/// Holds a record still for its checks, its journal and its write: other threads read it, but neither set nor
/// write it. Nests on its thread. Unless kept, the record is afterwards as it was before.
class TRecordWriting {
public:
    /// `Check` is called by the write, in its transaction, with the record as the database returned it; when
    /// it raises, nothing was written. Not called by Delete, which writes no values.
    /// @throws EUserTableError while another thread writes the record, and when the calling thread has a
    /// transaction open: whoever waits for the record would wait for that too.
    explicit TRecordWriting(TUserTable& Record, TRecordCheck Check = {})
        : FRecord(Record) {
        Record.BeginWriting(std::move(Check));
    }
    ~TRecordWriting() { FRecord.EndWriting(FKeep); }
    TRecordWriting(const TRecordWriting&) = delete;
    TRecordWriting& operator=(const TRecordWriting&) = delete;
    /// What was written lasts.
    void Keep() noexcept { FKeep = true; }

private:
    TUserTable& FRecord;
    bool FKeep = false;
};

} // namespace zutools
