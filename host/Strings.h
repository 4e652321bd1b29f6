// String lists: the abstract TStrings, the ordered TStringList and TKXStringList.
//
// Lists are used by one thread at a time. Indices are 0-based.

#pragma once

#include "host/ChangeCount.h"
#include "host/Object.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {

/// An ordered list of lines, each with an attached object reference (not owned).
class TStrings : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    [[nodiscard]] virtual int Count() const = 0;
    /// Line `Index`. @throws Exception "List index out of bounds (%d)".
    [[nodiscard]] virtual const std::u16string& Strings(int Index) const = 0;
    virtual void SetStrings(int Index, std::u16string_view Line) = 0;
    [[nodiscard]] virtual TObject* Objects(int Index) const = 0;
    virtual void SetObjects(int Index, TObject* Object) = 0;
    /// An integer kept with a line in place of an object (database keys of listed names); 0 when none was
    /// set.
    [[nodiscard]] virtual std::intptr_t Tags(int Index) const = 0;
    virtual void SetTags(int Index, std::intptr_t Tag) = 0;
    /// Appends (or places, for a sorted list); the new line's position.
    virtual int Add(std::u16string_view Line) = 0;
    virtual void Insert(int Index, std::u16string_view Line) = 0;
    virtual void Delete(int Index) = 0;
    virtual void Clear() = 0;
    /// Brackets around a batch of changes; nest. A visual list redraws once at the last EndUpdate.
    virtual void BeginUpdate() {}
    virtual void EndUpdate() {}

    int AddObject(std::u16string_view Line, TObject* Object);
    /// First line equal to `Line` ignoring case (locale-aware); -1 when absent.
    [[nodiscard]] virtual int IndexOf(std::u16string_view Line) const;
    void Assign(const TStrings& Source);
    void AddStrings(const TStrings& Source);

    /// All lines, each ended by "\r\n". Writing splits at CR, LF and CRLF; an end without a line break counts
    /// as one.
    [[nodiscard]] std::u16string Text() const;
    void SetText(std::u16string_view Value);

    /// The lines joined by "," with `"` quotes around a line that holds a blank or control character, a comma
    /// or a quote (doubled inside), and `""` for a single empty line. Reading takes blanks as separators too.
    /// What was written reads back the same; a `Quote` of U+0000 switches quoting off, and with it that
    /// promise.
    [[nodiscard]] std::u16string CommaText() const { return DelimitedText(u',', u'"'); }
    void SetCommaText(std::u16string_view Value) { SetDelimitedText(Value, u',', u'"'); }
    [[nodiscard]] std::u16string DelimitedText(char16_t Delimiter, char16_t Quote) const;
    void SetDelimitedText(std::u16string_view Value, char16_t Delimiter, char16_t Quote);
};

/// Brackets a batch of changes of a list, also when an error passes.
class TUpdateScope {
public:
    explicit TUpdateScope(TStrings& List)
        : FList(List) {
        FList.BeginUpdate();
    }
    ~TUpdateScope() { FList.EndUpdate(); }
    TUpdateScope(const TUpdateScope&) = delete;
    TUpdateScope& operator=(const TUpdateScope&) = delete;

private:
    TStrings& FList;
};

class TStringList : public TStrings {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    [[nodiscard]] int Count() const override;
    [[nodiscard]] const std::u16string& Strings(int Index) const override;
    void SetStrings(int Index, std::u16string_view Line) override;
    [[nodiscard]] TObject* Objects(int Index) const override;
    void SetObjects(int Index, TObject* Object) override;
    [[nodiscard]] std::intptr_t Tags(int Index) const override;
    void SetTags(int Index, std::intptr_t Tag) override;
    int Add(std::u16string_view Line) override;
    void Insert(int Index, std::u16string_view Line) override;
    void Delete(int Index) override;
    void Clear() override;
    [[nodiscard]] int IndexOf(std::u16string_view Line) const override;

    /// Keeps the lines in the user's collation order ignoring case, sorting what is there already. Duplicates
    /// are kept, later ones behind. A sorted list refuses SetStrings and Insert with an Exception.
    void SetSorted(bool Value);
    [[nodiscard]] bool Sorted() const { return FSorted; }
    /// Differs after every change of the lines (not of their objects and tags).
    [[nodiscard]] std::uint64_t Changes() const { return FChanges.Value(); }

private:
    struct TItem {
        std::u16string Line;
        TObject* Object = nullptr;
        std::intptr_t Tag = 0;
    };
    [[nodiscard]] std::size_t Checked(int Index, std::size_t Limit) const;
    [[nodiscard]] const TItem& At(int Index) const { return FItems[Checked(Index, FItems.size())]; }
    [[nodiscard]] TItem& At(int Index) { return FItems[Checked(Index, FItems.size())]; }

    int Place(TItem Item);

    std::vector<TItem> FItems;
    bool FSorted = false;
    TChangeCount FChanges;
};

/// The host's list of words; nothing is added to TStringList.
class TKXStringList : public TStringList {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;
};

} // namespace zutools
