// A record in memory, with the values as read and as to be written.

#pragma once

#include "host/StringHelpers.h"
#include "host/UserTables.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::tests {

struct TFieldLess {
    bool operator()(const std::u16string& Left, const std::u16string& Right) const {
        return CompareText(Left, Right) < 0;
    }
};
using TFields = std::map<std::u16string, TKXVariant, TFieldLess>;

/// A write makes the values the stored ones. One thread.
class TMemoryTable : public TUserTable {
public:
    explicit TMemoryTable(TFields Stored)
        : FStored(Stored)
        , FCurrent(std::move(Stored)) {}
    TMemoryTable(TFields Stored, TFields Current)
        : FStored(std::move(Stored))
        , FCurrent(std::move(Current)) {}

    std::u16string TableName() const override { return u"Orders"; }
    bool Open(std::u16string_view /*RecordID*/) override { return true; }
    void OpenNew() override {}
    std::u16string RecordID() const override { return u"1"; }
    std::vector<std::u16string> FieldNames() const override {
        std::vector<std::u16string> Names;
        for (const auto& [Name, Value] : FCurrent) Names.push_back(Name);
        return Names;
    }
    bool HasField(std::u16string_view Name) const override { return FCurrent.contains(std::u16string(Name)); }
    TKXVariant Field(std::u16string_view Name) const override { return Get(FCurrent, Name); }
    TKXVariant StoredField(std::u16string_view Name) const override { return Get(FStored, Name); }
    void SetField(std::u16string_view Name, const TKXVariant& Value) override {
        FCurrent[std::u16string(Name)] = Value;
    }
    void Post() override { FStored = FCurrent; }
    void Delete() override {}
    void Insert() override { Post(); }

private:
    static TKXVariant Get(const TFields& Fields, std::u16string_view Name) {
        const auto Found = Fields.find(std::u16string(Name));
        return Found == Fields.end() ? TKXVariant() : Found->second;
    }
    TFields FStored;
    TFields FCurrent;
};

} // namespace zutools::tests
